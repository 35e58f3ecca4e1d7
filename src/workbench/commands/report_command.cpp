// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>

#include "base/output_lock.h"
#include "inversion/input/program_name.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/overwriting.h"
#include "workbench/page/write_report.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxIterations = 12;

struct ReportOptions {
  std::string input;
  std::string output;
  std::size_t iterations = kMaxIterations;
};

/// Next to the other files of the run, with their name.
std::string default_output(const FinishedRun& run) {
  return path_in(run, fmt::format("{}.html", kProgram));
}

std::string describe_held(const FinishedRun& run, const ReportWritten& report) {
  std::string text =
      fmt::format("{} of {} iterations", report.iterations.size(), run.iterations.size());
  if (report.iterations.size() > 1 && report.digits_others < report.digits_last) {
    text += fmt::format(", models before the last one rounded to {} digits", report.digits_others);
  }
  return text;
}

void run(const ReportOptions& options) {
  const FinishedRun run = read_finished_run(options.input);
  for (const std::string& note : run.notes) fmt::print(stderr, "Note: {}\n", note);
  const std::string output = options.output.empty() ? default_output(run) : options.output;
  refuse_overwriting_run_files(run, output);
  const OutputLock lock(output);
  const ReportWritten report = write_report(run, options.iterations, output);
  const auto& [facts, flags, verdict] = report.appraisal;
  fmt::print("{}. {}\n", verdict.mark, verdict.headline);
  for (const std::string& sentence : verdict.sentences) fmt::print("  {}\n", sentence);
  for (const RedFlag& flag : flags) fmt::print("  Red flag: {}. {}\n", flag.title, flag.text);
  fmt::print("{}: {}, {}. Open it with a browser.\n", output,
             format_bytes(static_cast<double>(report.bytes)), describe_held(run, report));
}

}  // namespace

void add_report_command(CLI::App& qvx) {
  auto* const command =
      qvx.add_subcommand("report", "Write a page that shows the result of an inversion");
  const auto o = std::make_shared<ReportOptions>();
  command->add_option("RUN.inp", o->input, "Input file of the run")->required()->type_name("");
  command
      ->add_option("--output", o->output,
                   "Page to write; default: quorivex.html next to the\nrun's other files")
      ->type_name("FILE.html");
  command
      ->add_option("--iterations", o->iterations,
                   "Maximum number of iterations whose models the page\n"
                   "holds: the last, the first, and others between them")
      ->type_name("N")
      ->check(whole_number(1, 100'000))
      ->capture_default_str();
  command->footer(R"(
The page is one file that opens in any browser (from 2023 on) without a
network: a verdict with red flags, sections through the model with sliders,
profiles along the lines of the survey, maps of the data and the residuals,
misfit and beta of each iteration, and the parameters. Susceptibilities are SI,
coordinates in metres, data in nT.

It stays below 5 MB for a million cells: where necessary, models of iterations
before the last one are rounded or left out, and the page says so. Values of
the last iteration are those of its file.

The exit status is 0 when the page is written, whatever the verdict.

Example:
  quorivex survey.inp
  qvx report survey.inp
)");
  command->callback([o] { run(*o); });
}

}  // namespace quorivex
