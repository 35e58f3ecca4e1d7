// SPDX-License-Identifier: GPL-3.0-or-later
#include <omp.h>

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "base/interruption.h"
#include "base/prepare_process.h"
#include "base/ranks.h"
#include "base/stop_run.h"
#include "workbench/commands/command_line.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/commands/version_text.h"

namespace {

namespace ranks = quorivex::ranks;
using quorivex::StopRun;

/// The exit status of a command that failed; `qvx check` uses 1 for mere warnings.
int failure(int argc, char** argv) {
  return argc > 1 && std::string_view(argv[1]) == "check" ? 2 : 1;
}

std::vector<std::string> subcommand_names(const CLI::App& qvx) {
  std::vector<std::string> names;
  for (const CLI::App* command : qvx.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

/// Whether processes can share the work of a subcommand.
bool is_shared(const std::string& name) { return name == "sensitivity" || name == "forward"; }

constexpr const char* kWalk =
    "\nFrom stations to a model:\n"
    "  qvx survey --table flight.csv --easting X --northing Y --elevation Z ...\n"
    "  qvx mesh --data survey.mag --output mesh.txt\n"
    "  qvx sensitivity --mesh mesh.txt --data survey.mag --output survey.mtx\n"
    "  qvx input --data survey.mag --matrix survey.mtx --output survey.inp\n"
    "  qvx check survey.inp\n"
    "  quorivex survey.inp\n"
    "  qvx report survey.inp\n"
    "  qvx export survey.inp --vtr model.vtr\n"
    "\n'qvx SUBCOMMAND --help' or 'man qvx-SUBCOMMAND' describes each. The guide,\n"
    "docs/guide.md, goes through this walk; it is installed in share/doc/quorivex.";

constexpr const char* kExample =
    "\nFour processes with eight threads each:\n"
    "  mpiexec -n 4 qvx-mpi sensitivity --mesh mesh.txt --data survey.mag \\\n"
    "                       --output survey.mtx --threads 8\n"
    "\nThe other subcommands are those of qvx.";

/// All subcommands; those that qvx-mpi does not have as well.
void add_commands(CLI::App& qvx) {
  constexpr std::size_t kNameColumns = 24;  // help texts of 56 columns then end at 80
  qvx.get_formatter()->column_width(kNameColumns);
  qvx.set_version_flag("--version", quorivex::version_text(qvx.get_name()),
                       "Print version, commit and libraries");
  qvx.require_subcommand(1);
  quorivex::add_survey_command(qvx);
  quorivex::add_mesh_command(qvx);
  quorivex::add_sensitivity_command(qvx);
  quorivex::add_model_command(qvx);
  quorivex::add_input_command(qvx);
  quorivex::add_forward_command(qvx);
  quorivex::add_info_command(qvx);
  quorivex::add_check_command(qvx);
  quorivex::add_report_command(qvx);
  quorivex::add_export_command(qvx);
  quorivex::add_continue_command(qvx);
  qvx.footer(ranks::with_mpi() ? kExample : kWalk);
}

/// Removes the subcommands that qvx-mpi does not have. True where the arguments name one of them,
/// which is said.
bool keep_shared_commands(CLI::App& qvx, const std::vector<std::string>& arguments) {
  bool named = false;
  for (const std::string& name : subcommand_names(qvx)) {
    if (is_shared(name)) continue;
    named = named || (!arguments.empty() && arguments.front() == name);
    qvx.remove_subcommand(qvx.get_subcommand(name));
  }
  if (named) {
    std::fprintf(stderr, "Processes do not share the work of %s: run qvx %s.\n",
                 arguments.front().c_str(), arguments.front().c_str());
  }
  return named;
}

/// Calls the command that the arguments name; the exit status.
int run(int argc, char** argv) {
  const std::string program = ranks::with_mpi() ? "qvx-mpi" : "qvx";
  CLI::App qvx(
      "The workbench around quorivex, the 3-D inversion of magnetic surveys: from\n"
      "stations, a mesh and a terrain to the sensitivity file that the inversion needs,\n"
      "and from its results to other programs.\n"
      "Lengths are metres, fields nanotesla (nT), susceptibilities SI, angles degrees.",
      program);
  add_commands(qvx);
  const std::vector<std::string> arguments = quorivex::arguments_of(argc, argv);
  if (ranks::with_mpi() && keep_shared_commands(qvx, arguments)) return failure(argc, argv);
  if (arguments.empty()) {
    std::fputs(qvx.help().c_str(), stdout);
    return failure(argc, argv);
  }
  if (const std::string wrong = quorivex::wrong_first_word(qvx, arguments.front());
      !wrong.empty()) {
    std::fprintf(stderr, "%s\n", wrong.c_str());
    return failure(argc, argv);
  }
  try {
    quorivex::start_threads(omp_get_max_threads());
    qvx.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::RuntimeError& end) {
    return end.get_exit_code();  // the command has printed the rest
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return qvx.exit(error);  // help, or the version
    std::fprintf(stderr, "%s\n", quorivex::explain_error(qvx, error).c_str());
    return failure(argc, argv);
  }
  return 0;
}

/// What a line of a file that is quoted in a message holds may be anything.
void print_line(std::string_view text) {
  for (const char c : text) {
    const bool control = static_cast<unsigned char>(c) < ' ' && c != '\n';
    std::fputc(control ? ' ' : c, stderr);
  }
  std::fputc('\n', stderr);
}

/// Prints why the command failed, and allocates nothing: there may be no memory left at all.
void print_failure(const StopRun& stop) {
  print_line(stop.message());
  if (!stop.detail().empty()) print_line(stop.detail());
}

/// Runs the command and prints why it failed; the exit status.
int run_to_the_end(int argc, char** argv) {
  try {
    return quorivex::with_alloc_label("qvx", [&] {
      const int status = run(argc, argv);
      if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw StopRun("ERROR: writing to standard output failed.");
      }
      ranks::finish();
      return status;
    });
  } catch (const StopRun& stop) {
    print_failure(ranks::fail(stop));
  } catch (const std::exception& error) {
    print_failure(ranks::fail(StopRun(error.what())));
  }
  return failure(argc, argv);
}

void tell_exit() { std::fputs("Memory allocation error in: a library\n", stderr); }

}  // namespace

int main(int argc, char** argv) {
  quorivex::prepare_process(argv);
  const ranks::World world;
  const quorivex::ExitGuard guard(tell_exit, failure(argc, argv));
  const int status = run_to_the_end(argc, argv);
  // Of several processes one tells: mpiexec may end the others of a run that has failed.
  return ranks::is_first() ? status : 0;
}
