// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <memory>
#include <string>

#include "workbench/commands.h"
#include "workbench/sensitivity_summary.h"

namespace quorivex {
namespace {

void run(const std::string& name) {
  Report report;
  report.leave_console();
  const SensitivityFile file = getpar(name, report);
  fmt::print("{}: {}", name, sensitivity_in_words(file));
  const std::vector<std::string> doubts = doubts_about(file);
  for (const std::string& doubt : doubts) fmt::print("Warning: {}.\n", doubt);
  if (!doubts.empty()) fmt::print("Compute the file anew before it is inverted.\n");
}

}  // namespace

void add_info_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("info", "Say in words what a sensitivity file holds");
  const auto name = std::make_shared<std::string>();
  app->add_option("file", *name, "Sensitivity file")->required()->type_name("FILE");
  app->footer(R"(
Reads the whole file into memory, with every check that an inversion makes of
it: a file that it refuses ends with exit status 1. What is accepted but would
spoil an inversion follows as lines that begin with Warning: a wavelet filter
that is not orthonormal, scales or diagonals that cannot be, a matrix that does
not fit its mesh, values that are not finite.

Example:
  qvx info survey.mtx
)");
  app->callback([name] { run(*name); });
}

}  // namespace quorivex
