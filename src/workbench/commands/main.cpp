// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "base/prepare_process.h"
#include "base/stop_run.h"
#include "workbench/commands/commands.h"

namespace {

/// The status of a command that failed; that of `qvx check` sets it apart from mere warnings.
int failure(int argc, char** argv) {
  return argc > 1 && std::string_view(argv[1]) == "check" ? 2 : 1;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \n");
  const std::size_t last = text.find_last_not_of(" \n");
  return first == std::string_view::npos ? "" : text.substr(first, last - first + 1);
}

/// Picks the subcommand of a name.
struct Named {
  const char* name;
  bool operator()(const CLI::App* app) const { return app->get_name() == name; }
};

int run(int argc, char** argv) {
  CLI::App qvx(
      "The workbench around quorivex, the 3-D inversion of magnetic surveys: from stations, a "
      "mesh\n"
      "and a terrain to the sensitivity file that the inversion needs, and from its results to\n"
      "other programs.\n"
      "Lengths are metres, fields nanotesla (nT), susceptibilities SI, angles degrees.",
      "qvx");
  qvx.set_version_flag("--version", "qvx " QUORIVEX_VERSION, "Print the version");
  qvx.require_subcommand(1);
  qvx.footer(
      "\nFrom stations to a model:\n"
      "  qvx survey --table flight.csv --easting X --northing Y --elevation Z --field tmi ...\n"
      "  qvx mesh --data survey.mag --output mesh.txt\n"
      "  qvx sensitivity --mesh mesh.txt --data survey.mag --output survey.mtx\n"
      "  qvx check survey.inp\n"
      "  quorivex survey.inp\n"
      "  qvx report survey.inp\n"
      "  qvx export survey.inp --vtr model.vtr\n"
      "\n'qvx SUBCOMMAND --help' says more of each.");
  quorivex::add_survey_command(qvx);
  quorivex::add_mesh_command(qvx);
  quorivex::add_sensitivity_command(qvx);
  quorivex::add_forward_command(qvx);
  quorivex::add_info_command(qvx);
  quorivex::add_check_command(qvx);
  quorivex::add_report_command(qvx);
  quorivex::add_export_command(qvx);
  if (argc > 1 && argv[1][0] != '-' && qvx.get_subcommands(Named{argv[1]}).empty()) {
    std::fprintf(stderr, "There is no subcommand %s. Run qvx --help for those that there are.\n",
                 argv[1]);
    return failure(argc, argv);
  }
  try {
    qvx.parse(argc, argv);
  } catch (const CLI::RuntimeError& end) {
    return end.get_exit_code();  // of a command that has told the rest
  } catch (const CLI::ParseError& error) {
    return qvx.exit(error) == 0 ? 0 : failure(argc, argv);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string message;
  try {
    quorivex::prepare_process();
    const int status = run(argc, argv);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    message = "ERROR: what the command has to say could not be written to standard output.";
  } catch (const quorivex::StopRun& stop) {
    message = trimmed(stop.console);
    if (!stop.detail.empty()) message += "\n" + stop.detail;
  } catch (const std::bad_alloc&) {
    message = "ERROR: not enough memory.";
  } catch (const std::exception& error) {
    message = error.what();
  }
  std::fprintf(stderr, "%s\n", message.c_str());
  return failure(argc, argv);
}
