// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>

#include "inversion/input/program_name.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/overwriting.h"
#include "workbench/page/write_report.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxIterations = 12;

struct Options {
  std::string input;
  std::string output;
  std::size_t iterations = kMaxIterations;
};

/// Beside the other files of the run, with their name.
std::string default_output(const FinishedRun& run) {
  return path_in(run, fmt::format("{}.html", kProgram));
}

std::string iterations_in_words(const FinishedRun& run, const ReportWritten& report) {
  std::string text =
      fmt::format("{} of {} iterations", report.iterations.size(), run.iterations.size());
  if (report.iterations.size() > 1 && report.digits_others < report.digits_last) {
    text += fmt::format(", models before the last one rounded to {} digits", report.digits_others);
  }
  return text;
}

void run(const Options& options) {
  const FinishedRun run = read_finished_run(options.input);
  for (const std::string& note : run.notes) fmt::print(stderr, "Note: {}\n", note);
  const std::string output = options.output.empty() ? default_output(run) : options.output;
  refuse_overwriting_run_files(run, output);
  const ReportWritten report = write_report(run, options.iterations, output);
  fmt::print("{}. {}\n", report.verdict.mark, report.verdict.headline);
  for (const std::string& sentence : report.verdict.sentences) fmt::print("  {}\n", sentence);
  for (const RedFlag& flag : report.flags)
    fmt::print("  Red flag: {}. {}\n", flag.title, flag.text);
  fmt::print("{}: {}, {}. Open it with a browser.\n", output,
             format_bytes(static_cast<double>(report.bytes)), iterations_in_words(run, report));
}

}  // namespace

void add_report_command(CLI::App& qvx) {
  auto* const command =
      qvx.add_subcommand("report", "Write a page to look at the result of an inversion");
  const auto o = std::make_shared<Options>();
  command->add_option("input", o->input, "Input file of the run, which quorivex has inverted")
      ->required()
      ->type_name("RUN.inp");
  command
      ->add_option("--output", o->output,
                   "Page to write; quorivex.html beside the run's\nother files without it")
      ->type_name("FILE.html");
  command
      ->add_option(
          "--iterations", o->iterations,
          "Iterations whose models the page holds, at most: the\nlast, the first, and others "
          "between them")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{1}, std::size_t{100'000}).description(""))
      ->capture_default_str();
  command->footer(R"(
The page is one file that opens in any browser (from 2023 on) without a
network: a verdict in words with red flags, sections through the model with
sliders, maps of the data and of the residuals, misfit and beta from iteration to
iteration, and the parameters. Susceptibilities are SI, coordinates metres, data nT.

It stays below 5 MB for a million cells. For that the models of iterations before
the last one may be rounded, and some left out; the page says so. Values of
the last iteration are those of its file.

A verdict other than good is no failure: the exit status is 0 when the page is
written.

Example:
  quorivex survey.inp
  qvx report survey.inp
)");
  command->callback([o] { run(*o); });
}

}  // namespace quorivex
