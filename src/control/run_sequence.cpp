// SPDX-License-Identifier: GPL-3.0-or-later
#include "control/run_sequence.h"

#include <fmt/format.h>

#include <cstdlib>
#include <optional>

#include "base/fixed_format.h"
#include "base/phase_times.h"
#include "base/stop_run.h"
#include "control/input_file.h"
#include "control/inversion_loop.h"
#include "control/program_name.h"
#include "control/thread_report.h"
#include "control/timer.h"
#include "mesh_io/setup_models.h"
#include "objective/alphas.h"
#include "sensitivity/getpar.h"

namespace quorivex {
namespace {

constexpr const char* kTitle = "QUORIVEX";
constexpr std::size_t kLongestName = 500;

std::string usage() {
  return fmt::format(
      "\n   Usage: {0} {0}.inp  [nThreads]\n"
      "\n   For a sample input file, type: {0} -inp\n",
      kProgram);
}

void report_date(const std::string& label, Report& report) {
  const std::string line = date_line(label, wall_time_now());
  report.log("\n" + line + "\n");
  report.summary("\n! " + line + "\n");
}

/// Checks mode and tolc; returns beta, 0 where it is still to be chosen.
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

std::string parameter_block(const std::string& input_name, const InversionParameters& par) {
  std::string text = "\nRunning with the following parameters:\n\n";
  const auto line = [&](const char* label, std::string_view value) {
    text += fmt::format("{}{}\n", label, value);
  };
  line("          Input file: ", input_name);
  if (par.mode == 1) {
    text += "                mode: 1  (fixed target misfit)\n";
    line("             chifact: ", general(par.par));
  } else {
    text += "                mode: 2  (fixed multiplier)\n";
    line("  tradeoff parameter: ", general(par.par));
  }
  line("   Observations file: ", par.obsFile);
  line("    Sensitivity file: ", par.mtxFile);
  line("       Initial Model: ", par.initialModel);
  line("     Reference Model: ", par.referenceModel);
  line("                mref: ",
       par.mrefInDerivatives ? "in spatial derivatives" : "[NOT] in spatial derivatives");
  line("   Active cell model: ", par.activeCellFile);
  line("   3D weighting file: ", par.weightFile);
  return text + "\n\n";
}

SensitivityFile read_sensitivity_file(const std::string& name, Report& report) {
  const PhaseTimer timer(Phase::read);
  return getpar(name, report);
}

}  // namespace

void run_sequence(const std::vector<std::string>& arguments, Report& report) {
  setenv("OMP_PROC_BIND", "true", 1);
  set_threads(arguments.size() == 2 ? arguments[1] : "");
  Timer timer;
  Report::console(thread_report(kTitle));
  if (arguments.empty()) throw StopRun(usage());
  const std::string input_name(trim_right(arguments[0].substr(0, kLongestName)));
  report.open_log(kLogName);
  report.log(thread_report(kTitle));
  InversionParameters par = read_input_file(input_name, report);
  report.open_summary(kSummaryName);
  report_date("QUORIVEX started on: ", report);
  double beta = start_beta(par);
  report.log(parameter_block(input_name, par));

  const SensitivityFile file = read_sensitivity_file(par.mtxFile, report);
  const Observations data = read_data_file(par.obsFile, DataColumns::values, file.sens.ndata);
  report.log(right("# of data:", 30) + whole(data.ndata, 9) + "\n\n");
  ModelSetup setup = setup_models({.active_cells = par.activeCellFile,
                                   .initial = par.initialModel,
                                   .reference = par.referenceModel,
                                   .lower_bounds = par.lowerBounds,
                                   .upper_bounds = par.upperBounds,
                                   .mref_in_derivatives = par.mrefInDerivatives},
                                  file.mesh, file.tops, file.sens.wtz, report);
  report.log("\n");
  const Alphas alphas = read_alphas(par.alphaLine, report);
  const WeightingOperators weights =
      calc_W_components(par.weightFile, file.mesh, setup.active, alphas);
  const InactiveTerms inactive = calc_inactive_cell_components(weights, setup.fixed.influence);
  report.flush_log();

  const Diagonals diagonals = calc_diagonals(file.sens.gdiag, data.std, setup.active, weights);
  const Problem problem{.sens = file.sens,
                        .active = setup.active,
                        .fixed = setup.fixed,
                        .data = data,
                        .mref = setup.mref,
                        .mref_in_derivatives = par.mrefInDerivatives,
                        .bounds = setup.bounds,
                        .weights = weights,
                        .inactive = inactive,
                        .diagonals = diagonals};
  CurrentModel current{.model = std::move(setup.model), .value = {}};
  current.value = evaluate_objective(problem, current.model);
  std::optional<Target> target;
  if (par.mode == 1) target = Target{.chifact = par.par, .misfit = data.ndata * par.par};
  if (target && current.value.misfit < target->misfit) {
    stop_run(
        "Target misfit is too large to be meaningful.\n"
        "Please change chifact or data errors.\n"
        "Program is terminated.");
  }
  if (beta <= 0.0) beta = diagonals.data_trace / diagonals.model_trace * 10000.0;
  report.both(timer.since_previous("init"));
  report.flush_log();

  run_inversion(problem, alphas, target, beta, current, timer, report);
  Report::console("\n    Inversion completed.\n");
  report.log("\n");
  report.both(timer.since_start("TOTAL"));
  report_date("QUORIVEX ended on: ", report);
  report.close();
  report_phase_times();
}

}  // namespace quorivex
