// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/solver/linsolv.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/stop_run.h"
#include "base/uninitialized_array.h"
#include "inversion/solver/normal_equations.h"

namespace quorivex {
namespace {

constexpr const char* kLinsolvRoutine = "linsolv";
constexpr int kMaxHalvings = 16;  // the step stays at least 1e-5 (2^-16 = 1.5e-5)

std::vector<std::int32_t> free_mask(std::int64_t ncell, const LinsolvState& state) {
  std::vector<std::int32_t> mask = allocate<std::int32_t>(as_size(ncell), kLinsolvRoutine, 1);
  for (std::int32_t k = 0; k < state.ntrunc; ++k) {
    mask[as_size(state.truncated[as_size(k)] - 1)] = 0;
  }
  return mask;
}

UninitializedArray<double> preconditioner(const Diagonals& diagonals, double beta,
                                          View1<const std::int32_t> mask) {
  UninitializedArray<double> inverse(mask.size(), kLinsolvRoutine);
  const View1<double> P = inverse.view();
  const View1<const double> gdiag(diagonals.gdiag);
  const View1<const double> wdiag(diagonals.wdiag);
#pragma omp parallel for schedule(static) default(none) shared(mask, P, gdiag, wdiag, beta)
  for (std::int64_t i = 1; i <= mask.size(); ++i) {
    P(i) = mask(i) == 1 ? 1.0 / (gdiag(i) + beta * wdiag(i)) : 0.0;
  }
  return inverse;
}

/// The conjugate-gradient step dm of the free cells, 0 elsewhere.
CgResult solve_free_cells(const Problem& problem, double beta, const CgControl& control,
                          View1<const std::int32_t> mask, View1<const double> g, View1<double> dm) {
  const RowPieces& rows = problem.active.rows;
  const std::int64_t free =
      std::count(mask.data() + rows.own_begin_entry(), mask.data() + rows.own_end_entry(), 1);
  if (sum_of_all(rows, free) == 0) return {};
  const UninitializedArray<double> P = preconditioner(problem.diagonals, beta, mask);
  UninitializedArray<double> residual(g.size(), kLinsolvRoutine);
  const View1<double> r = residual.view();
#pragma omp parallel for schedule(static) default(none) shared(mask, g, r)
  for (std::int64_t i = 1; i <= g.size(); ++i) r(i) = mask(i) * g(i);
  AprodWork work(problem);
  const auto apply = [&](View1<const double> x, View1<double> y) {
    aprod(problem, mask, beta, x, y, work);
  };
  return conjugate_gradients(apply, rows, P.view(), control, r, dm);
}

/// Frozen cells follow their gradient, by at most a tenth of the largest free move, so that one
/// whose gradient points inward can leave its bound.
void move_frozen_cells(const RowPieces& rows, View1<const std::int32_t> mask, View1<const double> g,
                       View1<double> dm) {
  double dmax = std::numeric_limits<double>::lowest();
  double fmax = std::numeric_limits<double>::lowest();
#pragma omp parallel for default(none) shared(mask, g, dm) reduction(max : dmax, fmax)
  for (std::int64_t i = 1; i <= g.size(); ++i) {
    dmax = std::max(dmax, std::abs(dm(i)));
    fmax = std::max(fmax, std::abs((1 - mask(i)) * g(i)));
  }
  dmax = max_of_all(rows, dmax);
  fmax = max_of_all(rows, fmax);
  const double s = fmax <= dmax ? 1.0 : dmax / fmax / 10.0;
#pragma omp parallel for schedule(static) default(none) shared(mask, g, dm, s)
  for (std::int64_t i = 1; i <= g.size(); ++i) dm(i) += s * ((1 - mask(i)) * g(i));
}

/// Replaces the current model by the first trial m + t dm, t = 1, 1/2, ..., that lowers phi.
void line_search(const Problem& problem, double beta, View1<const double> dm, CurrentModel& current,
                 LinsolvState& state) {
  const double phi = current.value.total(beta);
  const View1<const double> m(current.model);
  std::vector<double> trial = allocate<double>(as_size(m.size()), kLinsolvRoutine);
  const View1<double> mt(trial);
  double t = 1.0;
  for (int halvings = 0; halvings <= kMaxHalvings; ++halvings, t *= 0.5) {
#pragma omp parallel for schedule(static) default(none) shared(m, mt, t, dm)
    for (std::int64_t i = 1; i <= m.size(); ++i) mt(i) = m(i) + t * dm(i);
    exchange_neighbour_rows(problem.active.rows, mt);
    project_on_bounds(problem.bounds, mt, state);
    const std::int64_t truncated = cells_on_bounds(problem.active, state);
    if (truncated > 0 && truncated == problem.active.survey.active) {
      stop_run("Error: All cells reach the bounds!");
    }
    ObjectiveValue value = evaluate_objective(problem, mt);
    if (value.total(beta) < phi) {
      current.model = std::move(trial);
      current.value = std::move(value);
      return;
    }
  }
  stop_run("Not able to reduce the objective function.");
}

}  // namespace

void project_on_bounds(const Bounds& bounds, View1<double> model, LinsolvState& state) {
  const View1<const double> lower(bounds.lower);
  const View1<const double> upper(bounds.upper);
  state.ntrunc = 0;
  for (std::int64_t i = 1; i <= model.size(); ++i) {
    if (model(i) <= lower(i)) {
      model(i) = lower(i);
    } else if (model(i) >= upper(i)) {
      model(i) = upper(i);
    } else {
      continue;
    }
    state.truncated[as_size(state.ntrunc)] = static_cast<std::int32_t>(i);
    ++state.ntrunc;
  }
}

std::int64_t cells_on_bounds(const ActiveCells& active, const LinsolvState& state) {
  const RowPieces& rows = active.rows;
  const auto* const end = state.truncated.data() + state.ntrunc;
  const std::int64_t own = std::count_if(state.truncated.data(), end, [&](std::int32_t cell) {
    return cell > rows.own_begin_entry() && cell <= rows.own_end_entry();
  });
  return sum_of_all(rows, own);
}

CgResult linsolv(const Problem& problem, double beta, const CgControl& control,
                 CurrentModel& current, LinsolvState& state) {
  const std::size_t ncell = current.model.size();
  if (state.truncated.empty()) state.truncated = allocate<std::int32_t>(ncell, kLinsolvRoutine);
  std::vector<double> dm = allocate<double>(ncell, kLinsolvRoutine);
  CgResult result;
  {
    std::vector<double> g = allocate<double>(ncell, kLinsolvRoutine);
    formrhs(problem, current.model, current.value.predicted, beta, g);
    const std::vector<std::int32_t> mask = free_mask(length(dm), state);
    result = solve_free_cells(problem, beta, control, mask, g, dm);
    move_frozen_cells(problem.active.rows, mask, g, dm);
  }
  line_search(problem, beta, dm, current, state);
  return result;
}

}  // namespace quorivex
