// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/run_sequence.h"

#include <cstdlib>
#include <new>
#include <optional>

#include "base/fixed_format.h"
#include "base/ranks.h"
#include "base/stop_run.h"
#include "inversion/control/inversion_loop.h"
#include "inversion/control/read_run.h"
#include "inversion/control/run_log_lines.h"
#include "inversion/control/thread_report.h"
#include "inversion/control/timer.h"
#include "inversion/input/program_name.h"
#include "inversion/setup/own_outputs.h"

namespace quorivex {
namespace {

constexpr const char* kTitle = "QUORIVEX";
constexpr std::size_t kMaxName = 500;

void report_date(const std::string& label, Report& report) {
  const std::string line = date_line(label, wall_time_now());
  report.log("\n" + line + "\n");
  report.summary("\n! " + line + "\n");
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
  const std::string fewer = set_threads(arguments.size() == 2 ? arguments[1] : "");
  Timer timer;
  const std::string threads = thread_report(kTitle) + fewer;
  Report::console(threads);
  if (arguments.empty()) throw StopRun(usage());
  const std::string input_name(trim_right(arguments[0].substr(0, kMaxName)));
  if (ranks::is_first()) {
    refuse_outputs_that_are_read(input_name);
    report.open_log(kLogName);
  }
  report.log(threads);
  InversionParameters input = read_input(input_name, report);
  if (ranks::is_first()) report.open_summary(kSummaryName);
  report_date("QUORIVEX started on: ", report);
  check_mode_and_tolc(input);
  report.log(parameter_block(input_name, input));

  RunSetup setup = read_run(input, report);
  CurrentModel current{.model = std::move(setup.models.model), .value = {}};
  const Problem problem = setup.problem(input.mrefInDerivatives);
  current.value = evaluate_objective(problem, current.model);
  const std::optional<Target> target = target_of(input, setup.data.ndata);
  check_target(target, current.value.misfit);
  double beta = initial_beta(input);
  if (beta <= 0.0) beta = chosen_beta(setup.diagonals);
  report.both(timer.since_previous("init"));
  report.flush_log();

  run_inversion(problem, {setup.alphas, target, beta}, current, timer, report);
  Report::console("\n    Inversion completed.\n");
  report.log("\n");
  report_end(timer, report);
  report.close();
}

}  // namespace quorivex
