// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/inversion_loop.h"

#include <cmath>
#include <string>

#include "base/fixed_format.h"
#include "base/phase_times.h"
#include "base/progress.h"
#include "inversion/input/program_name.h"
#include "inversion/mesh_io/model_files.h"
#include "inversion/mesh_io/observations.h"
#include "inversion/solver/next_beta.h"

namespace quorivex {
namespace {

constexpr double kCgTolerance = 0.001;
constexpr std::int32_t kMaxCgIterations = 2000;

std::string labelled(const char* label, double value) {
  return right(label, 21) + sci(value, 13, 6) + "\n";
}

void report_start(const ObjectiveValue& start, const Alphas& alphas,
                  const std::optional<Target>& target, Report& report) {
  report.summary(summary_head(start, alphas, target));
  report.flush_summary();
  report.log("\n");
  report.log(labelled(" initial misfit: ", start.misfit));
  if (target) report.log(labelled(" target data misfit: ", target->misfit));
  report.flush_log();
  Report::console(" Start inversion ...\n");
}

/// One model update, with its progress on a terminal: the residual falls by about the same factor
/// from one iteration to the next.
CgResult update(const Problem& problem, std::int32_t number, double beta, CurrentModel& current,
                LinsolvState& state) {
  Progress progress("iteration " + std::to_string(number) + ": conjugate-gradient iteration", 0,
                    Progress::WhenNotATerminal::nothing);
  const auto watch = [&](std::int32_t iterations, double residual) {
    progress.done(iterations, std::log(residual) / std::log(kCgTolerance));
  };
  return linsolv(problem, beta, {kCgTolerance, kMaxCgIterations, watch}, current, state);
}

/// One model update with its lines in log and summary and its two files.
IterationResult run_iteration(const Problem& problem, std::int32_t number, double beta,
                              CurrentModel& current, LinsolvState& state, Report& report) {
  report.both("\n          Iteration:" + whole(number, 4) + "\n");
  report.log(labelled("     beta: ", beta));
  report.flush_log();
  const CgResult cg = update(problem, number, beta, current, state);
  const IterationResult iteration{.number = number,
                                  .beta = beta,
                                  .misfit = current.value.misfit,
                                  .norm = current.value.norm,
                                  .objective = current.value.total(beta),
                                  .cg_iterations = cg.iterations,
                                  .truncated_cells = state.ntrunc};
  report.both(labelled("    data misfit: ", iteration.misfit));
  report.summary(summary_row(iteration));
  report.flush_summary();
  const PhaseTimer timer(Phase::write);
  write_predicted_data(kProgram, "pre", problem.data, current.value.predicted, number);
  output_model(kProgram, "sus", current.model, number, problem.sens.wtz, problem.active,
               problem.fixed);
  return iteration;
}

}  // namespace

void run_inversion(const Problem& problem, const Alphas& alphas,
                   const std::optional<Target>& target, double beta, CurrentModel& current,
                   Timer& timer, Report& report) {
  Report::console("\n");
  report_start(current.value, alphas, target, report);
  LinsolvState state;
  std::optional<Iteration> before;
  double phi_before = current.value.total(beta);
  for (std::int32_t number = 1;; ++number) {
    const IterationResult iteration = run_iteration(problem, number, beta, current, state, report);
    report.both(timer.since_previous("beta"));
    if (target && target_reached(iteration.misfit, target->misfit)) {
      report.both("\n   Target misfit reached.\n\n");
      break;
    }
    if (!target && number > 2 && plateaued(phi_before, iteration.objective)) {
      report.both("\n   Objective function has plateaued.\n\n");
      break;
    }
    phi_before = iteration.objective;
    if (target) {
      const Iteration now{beta, iteration.misfit};
      beta = next_beta(now, before, target->misfit);
      before = now;
    }
  }
  report.log("\n");
}

}  // namespace quorivex
