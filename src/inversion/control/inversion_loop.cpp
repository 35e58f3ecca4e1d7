// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/inversion_loop.h"

#include <cmath>
#include <string>
#include <string_view>

#include "base/atomic_file.h"
#include "base/phase_times.h"
#include "base/progress.h"
#include "base/ranks.h"
#include "inversion/control/run_log_lines.h"
#include "inversion/input/program_name.h"
#include "inversion/mesh_io/model_files.h"
#include "inversion/mesh_io/observations.h"
#include "inversion/solver/next_beta.h"

namespace quorivex {
namespace {

constexpr double kCgTolerance = 0.001;
constexpr std::int32_t kMaxCgIterations = 2000;

void report_start(const ObjectiveValue& value, const InversionStart& start, Report& report) {
  Report::console("\n");
  report.summary(summary_head(value, start.alphas, start.target));
  report.flush_summary();
  report.log(start_lines(value.misfit, start.target));
  report.flush_log();
  Report::console(" Start inversion ...\n");
}

void report_beginning(std::int32_t number, double beta, Report& report) {
  report.both(iteration_line(number));
  report.log(beta_line(beta));
  report.flush_log();
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

IterationResult compute_iteration(const Problem& problem, std::int32_t number, double beta,
                                  CurrentModel& current, LinsolvState& state) {
  const CgResult cg = update(problem, number, beta, current, state);
  return {.number = number,
          .beta = beta,
          .misfit = current.value.misfit,
          .norm = current.value.norm,
          .objective = current.value.total(beta),
          .cg_iterations = cg.iterations,
          .truncated_cells = cells_on_bounds(problem.active, state)};
}

void report_iteration(const IterationResult& iteration, Report& report) {
  report.both(misfit_line(iteration.misfit));
  report.summary(summary_row(iteration));
  report.flush_summary();
}

void write_files(const Problem& problem, std::int32_t number, const CurrentModel& current) {
  const PhaseTimer timer(Phase::write);
  if (ranks::is_first()) {
    write_predicted_data(kProgram, "pre", problem.data, current.value.predicted, number);
  }
  output_model(numbered_name(kProgram, number, "sus"), current.model, problem.sens.wtz,
               problem.active, problem.fixed);
}

/// Why the inversion ends after an iteration, as log and console say it; nothing when it goes on.
/// `phi_before` is the objective before the iteration.
std::optional<std::string_view> ending(const IterationResult& iteration,
                                       const std::optional<Target>& target, double phi_before) {
  if (target) {
    if (target_reached(iteration.misfit, target->misfit)) return "\n   Target misfit reached.\n\n";
  } else if (iteration.number > 2 && plateaued(phi_before, iteration.objective)) {
    return "\n   Objective function has plateaued.\n\n";
  }
  return std::nullopt;
}

}  // namespace

void run_inversion(const Problem& problem, const InversionStart& start, CurrentModel& current,
                   Timer& timer, Report& report) {
  report_start(current.value, start, report);
  LinsolvState state;
  std::optional<Iteration> before;
  double beta = start.beta;
  double phi_before = current.value.total(beta);
  for (std::int32_t number = 1;; ++number) {
    report_beginning(number, beta, report);
    const IterationResult iteration = compute_iteration(problem, number, beta, current, state);
    report_iteration(iteration, report);
    write_files(problem, number, current);
    report.both(timer.since_previous("beta"));
    if (const auto line = ending(iteration, start.target, phi_before)) {
      report.both(*line);
      break;
    }
    phi_before = iteration.objective;
    if (start.target) {
      const Iteration now{beta, iteration.misfit};
      // By logarithms, which processors of different kinds may round differently.
      beta = ranks::broadcast(next_beta(now, before, start.target->misfit));
      before = now;
    }
  }
  report.log("\n");
}

}  // namespace quorivex
