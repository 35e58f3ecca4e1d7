// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/setup/run_setup.h"

#include "base/stop_run.h"

namespace quorivex {

Problem RunSetup::problem(bool mref_in_derivatives) const {
  return {.sens = file.sens,
          .active = models.active,
          .fixed = models.fixed,
          .data = data,
          .mref = models.mref,
          .mref_in_derivatives = mref_in_derivatives,
          .bounds = models.bounds,
          .weights = weights,
          .inactive = inactive,
          .diagonals = diagonals};
}

void check_mode_and_tolc(InversionParameters& input) {
  switch (input.mode) {
    case 1:
      if (input.tolc == 0.0) input.tolc = 0.02;
      if (input.tolc < 0.0) stop_run("Error: tolc should be greater than 0.");
      return;
    case 2:
      return;
    case 3:
      throw StopRun(" gcv not implemented.\n", "");
    default:
      stop_run("Error: mode should be 1, 2, or 3.");
  }
}

double initial_beta(const InversionParameters& input) { return input.mode == 2 ? input.par : 0.0; }

void derive_terms(const InversionParameters& input, RunSetup& setup) {
  const ActiveCells& active = setup.models.active;
  setup.weights = calc_W_components(input.weightFile, active.ground->mesh, active, setup.alphas);
  setup.inactive = calc_inactive_cell_components(setup.weights, setup.models.fixed.influence);
  setup.diagonals = calc_diagonals(setup.file.sens.gdiag, setup.data.std, active, setup.weights);
}

std::optional<Target> target_of(const InversionParameters& input, std::int32_t ndata) {
  const std::optional<double> misfit = target_misfit(input, ndata);
  if (!misfit) return std::nullopt;
  return Target{.chifact = input.par, .misfit = *misfit};
}

void check_target(const std::optional<Target>& target, double initial_misfit) {
  if (!target || !(initial_misfit < target->misfit)) return;
  stop_run(
      "Target misfit is too large to be meaningful.\n"
      "Please change chifact or data errors.\n"
      "Program is terminated.");
}

double chosen_beta(const Diagonals& diagonals) {
  return diagonals.data_trace / diagonals.model_trace * 10000.0;
}

}  // namespace quorivex
