// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "base/stop_run.h"
#include "workbench/check/sensitivity_summary.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {
namespace {

/// What the sidecar says, if there is one.
void print_sidecar(const std::string& name, const SensitivityFile& file) {
  std::optional<Sidecar> sidecar;
  try {
    sidecar = read_sidecar(name);
  } catch (const StopRun& wrong) {
    print_warning(fmt::format("the sidecar cannot be used. {}", wrong.message()));
    return;
  }
  if (!sidecar) return;
  const std::string info = find_sidecar(name);
  const std::vector<std::string> mismatched = mismatched_matrix_parts(*sidecar, name, file);
  if (!mismatched.empty()) {
    print_warning(fmt::format("{} does not belong to this file; {} differ.", info,
                              fmt::join(mismatched, ", ")));
    return;
  }
  fmt::print("Made as {} says:\n", info);
  for (const InfoLine& line : sidecar->info_lines) {
    if (line.name != kWarning) fmt::print("  {:<20} {}\n", line.name, line.text);
  }
  for (const std::string& warning : warnings_of(*sidecar)) {
    print_warning("when the file was made: " + warning);
  }
}

void run(const std::string& name) {
  if (is_other_file(name)) stop_run(fmt::format(" ERROR: {} is not a sensitivity file.", name));
  const SensitivityFile file = getpar(name);
  fmt::print("{}: {}", name, describe_sensitivity(name, file));
  const std::vector<std::string> faults = find_matrix_faults(file);
  for (const std::string& fault : faults) print_warning(fault + ".");
  print_sidecar(name, file);
  if (!faults.empty()) print_warning("recompute the file before it is inverted.");
}

}  // namespace

void add_info_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("info", "Summarise a sensitivity file");
  const auto name = std::make_shared<std::string>();
  app->add_option("FILE", *name, "Sensitivity file")->required()->type_name("");
  app->footer(R"(
Reads the whole file into memory, with every check that an inversion makes: a
file that an inversion would refuse ends with exit status 1. Faults that it
would accept follow on standard error as lines that begin with Warning: a
wavelet filter that is not orthonormal, scales or diagonals out of range, a
matrix that does not fit its mesh, values that are not finite. If there is a
sidecar (survey.mtx.info), which qvx sensitivity writes, its contents are
printed.

Example:
  qvx info survey.mtx
)");
  app->callback([name] { run(*name); });
}

}  // namespace quorivex
