// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <memory>
#include <optional>
#include <string>

#include "base/stop_run.h"
#include "workbench/check/sensitivity_summary.h"
#include "workbench/commands/commands.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {
namespace {

/// What the sidecar says, if there is one.
void print_sidecar(const std::string& name, const SensitivityFile& file) {
  std::optional<Sidecar> sidecar;
  try {
    sidecar = read_sidecar(name);
  } catch (const StopRun& wrong) {
    fmt::print("Warning: the sidecar is of no use.{}",
               wrong.console.substr(0, wrong.console.find_last_not_of('\n') + 2));
    return;
  }
  if (!sidecar) return;
  const std::string info = find_sidecar(name);
  const std::vector<std::string> strange = mismatched_matrix_parts(*sidecar, name, file);
  if (!strange.empty()) {
    fmt::print("Warning: {} is not of this file; {} differ.\n", info, fmt::join(strange, ", "));
    return;
  }
  fmt::print("Made as {} says:\n", info);
  for (const InfoLine& figure : sidecar->figures) {
    fmt::print("  {:<20} {}\n", figure.name, figure.text);
  }
}

void run(const std::string& name) {
  const SensitivityFile file = getpar(name);
  fmt::print("{}: {}", name, sensitivity_in_words(file));
  const std::vector<std::string> doubts = doubts_about(file);
  for (const std::string& doubt : doubts) fmt::print("Warning: {}.\n", doubt);
  print_sidecar(name, file);
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
not fit its mesh, values that are not finite. If qvx sensitivity left a
sidecar (survey.mtx.info) beside it, what that says of its making is told.

Example:
  qvx info survey.mtx
)");
  app->callback([name] { run(*name); });
}

}  // namespace quorivex
