// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/setup/run_setup.h"

#include "base/fixed_format.h"
#include "base/phase_times.h"
#include "base/stop_run.h"
#include "inversion/sensitivity/memory.h"

namespace quorivex {
namespace {

SensitivityFile read_sensitivity_file(const std::string& name, Report& report) {
  const PhaseTimer timer(Phase::read);
  return getpar(name, report);
}

}  // namespace

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

double start_beta(InversionParameters& par) {
  switch (par.mode) {
    case 1:
      if (par.tolc == 0.0) par.tolc = 0.02;
      if (par.tolc < 0.0) stop_run("Error: tolc should be greater than 0.");
      return 0.0;
    case 2:
      return par.par;
    case 3:
      throw StopRun(" gcv not implemented.\n", "");
    default:
      stop_run("Error: mode should be 1, 2, or 3.");
  }
}

ModelSources model_sources(const InversionParameters& par) {
  return {.active_cells = par.activeCellFile,
          .initial = par.initialModel,
          .reference = par.referenceModel,
          .lower_bounds = par.lowerBounds,
          .upper_bounds = par.upperBounds,
          .mref_in_derivatives = par.mrefInDerivatives};
}

void derive_terms(const InversionParameters& par, RunSetup& setup) {
  const ActiveCells& active = setup.models.active;
  setup.weights = calc_W_components(par.weightFile, setup.file.mesh, active, setup.alphas);
  setup.inactive = calc_inactive_cell_components(setup.weights, setup.models.fixed.influence);
  setup.diagonals = calc_diagonals(setup.file.sens.gdiag, setup.data.std, active, setup.weights);
}

RunSetup read_run(const InversionParameters& par, Report& report) {
  RunSetup setup;
  setup.file = read_sensitivity_file(par.mtxFile, report);
  return_freed_memory();
  const SensitivityFile& file = setup.file;
  setup.data = read_data_file(par.obsFile, DataColumns::values, file.sens.ndata);
  report.log(right("# of data:", 30) + whole(setup.data.ndata, 9) + "\n\n");
  setup.models = setup_models(model_sources(par), file.mesh, file.tops, file.sens.wtz, report);
  report.log("\n");
  setup.alphas = read_alphas(par.alphaLine, report);
  derive_terms(par, setup);
  report.flush_log();
  return setup;
}

std::optional<Target> target_of(const InversionParameters& par, std::int32_t ndata) {
  const std::optional<double> misfit = target_misfit(par, ndata);
  if (!misfit) return std::nullopt;
  return Target{.chifact = par.par, .misfit = *misfit};
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
