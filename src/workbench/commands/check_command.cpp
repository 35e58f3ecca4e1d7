// SPDX-License-Identifier: GPL-3.0-or-later
#include <memory>
#include <string>

#include "workbench/check/check_run.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/survey_inputs.h"

namespace quorivex {
namespace {

struct CheckOptions {
  std::string input;
  std::string mesh;
};

void run(const CheckOptions& options) {
  const int status = check_run(options.input, options.mesh);
  if (status != 0) throw CLI::RuntimeError(status);
}

}  // namespace

void add_check_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("check", "Check the inputs of an inversion before running it");
  const auto o = std::make_shared<CheckOptions>();
  app->add_option("RUN.inp", o->input, "Input file of quorivex")->required()->type_name("");
  app->add_option("--mesh", o->mesh, "Text mesh that the sensitivity file should have")
      ->type_name("FILE");
  add_thread_option(*app);
  app->footer(R"(
Reads all files of the run with the checks that quorivex makes, evaluates the
starting model, and prints what it found: counts and ranges (metres, nT, SI),
weights, bounds, memory and time, initial misfit, target and beta. Lines that
begin with error: show where the run would stop, warning: what will hardly give
a good model, note: what is worth knowing. Writes no file, and takes as much
memory as the run.

Exit status: 0 fine, 1 warnings, 2 errors or a wrong command line.

Example:
  qvx check survey.inp
)");
  app->callback([o] { run(*o); });
}

}  // namespace quorivex
