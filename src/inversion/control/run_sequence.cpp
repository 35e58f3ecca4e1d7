// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/run_sequence.h"

#include <fmt/format.h>

#include <cstdlib>
#include <new>
#include <optional>

#include "base/fixed_format.h"
#include "base/stop_run.h"
#include "inversion/control/inversion_loop.h"
#include "inversion/control/thread_report.h"
#include "inversion/control/timer.h"
#include "inversion/input/program_name.h"
#include "inversion/setup/run_setup.h"

namespace quorivex {
namespace {

constexpr const char* kTitle = "QUORIVEX";
constexpr std::size_t kMaxName = 500;

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

std::string parameter_block(const std::string& input_name, const InversionParameters& par) {
  std::string text = "\nRunning with the following parameters:\n\n";
  const auto line = [&](const char* label, std::string_view value) {
    text += fmt::format("{}{}\n", label, value);
  };
  line("          Input file: ", input_name);
  if (par.mode == 1) {
    text += "                mode: 1  (fixed target misfit)\n";
    line("             chifact: ", three_significant(par.par));
  } else {
    text += "                mode: 2  (fixed multiplier)\n";
    line("  tradeoff parameter: ", three_significant(par.par));
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

/// Total time and date. The results are written by now: where no memory is left for these lines
/// they are missing, and the run is complete all the same.
void report_end(Timer& timer, Report& report) {
  try {
    report.both(timer.since_start("TOTAL"));
    report_date("QUORIVEX ended on: ", report);
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

void run_sequence(const std::vector<std::string>& arguments, Report& report) {
  setenv("OMP_PROC_BIND", "true", 1);
  set_threads(arguments.size() == 2 ? arguments[1] : "");
  Timer timer;
  Report::console(thread_report(kTitle));
  if (arguments.empty()) throw StopRun(usage());
  const std::string input_name(trim_right(arguments[0].substr(0, kMaxName)));
  report.open_log(kLogName);
  report.log(thread_report(kTitle));
  InversionParameters par = read_input_file(input_name, report);
  report.open_summary(kSummaryName);
  report_date("QUORIVEX started on: ", report);
  double beta = start_beta(par);
  report.log(parameter_block(input_name, par));

  RunSetup setup = read_run(par, report);
  CurrentModel current{.model = std::move(setup.models.model), .value = {}};
  const Problem problem = setup.problem(par.mrefInDerivatives);
  current.value = evaluate_objective(problem, current.model);
  const std::optional<Target> target = target_of(par, setup.data.ndata);
  check_target(target, current.value.misfit);
  if (beta <= 0.0) beta = chosen_beta(setup.diagonals);
  report.both(timer.since_previous("init"));
  report.flush_log();

  run_inversion(problem, setup.alphas, target, beta, current, timer, report);
  Report::console("\n    Inversion completed.\n");
  report.log("\n");
  report_end(timer, report);
  report.close();
}

}  // namespace quorivex
