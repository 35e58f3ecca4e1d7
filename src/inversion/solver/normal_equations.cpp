// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/solver/normal_equations.h"

#include "base/phase_times.h"
#include "inversion/objective/calc_wtw_mod.h"

namespace quorivex {

void formrhs(const Problem& problem, View1<const double> model, View1<const double> predicted,
             double beta, View1<double> g) {
  constexpr const char* kRoutine = "formrhs";
  const View1<const double> observed(problem.data.obs);
  std::vector<double> residual = allocate<double>(as_size(observed.size()), kRoutine);
  for (std::int64_t i = 1; i <= observed.size(); ++i) {
    residual[as_size(i - 1)] = observed(i) - predicted(i);
  }
  gtprod(problem.sens, problem.active, residual, g);

  const View1<const double> mref(problem.mref);
  UninitializedArray<double> difference(model.size(), kRoutine);
  const View1<double> from_mref = difference.view();
#pragma omp parallel for schedule(static) default(none) shared(model, mref, from_mref)
  for (std::int64_t i = 1; i <= model.size(); ++i) from_mref(i) = model(i) - mref(i);
  UninitializedArray<double> model_term(model.size(), kRoutine);
  const View1<double> b = model_term.view();
  const View1<const double> x = problem.mref_in_derivatives ? from_mref : model;
  CALC_WTW_MOD::calc_WTW_vec(problem.weights, x, from_mref, b);
  const View1<const double> of_inactive(problem.inactive.gradient);
  const bool influence = of_inactive.size() > 0;
#pragma omp parallel for schedule(static) default(none) shared(g, beta, b, influence, of_inactive)
  for (std::int64_t i = 1; i <= g.size(); ++i) {
    g(i) -= beta * (influence ? b(i) + of_inactive(i) : b(i));
  }
  clear_neighbour_rows(problem.active.rows, g);
}

AprodWork::AprodWork(const Problem& problem)
    : masked(problem.active.ncell, "aprod"),
      model_term(problem.active.ncell, "aprod"),
      product(problem.sens, problem.active) {}

void aprod(const Problem& problem, View1<const std::int32_t> mask, double beta,
           View1<const double> x, View1<double> y, AprodWork& work) {
  const View1<double> xm = work.masked.view();
  const View1<double> v = work.model_term.view();
  {
    const PhaseTimer timer(Phase::vectors);
#pragma omp parallel for schedule(static) default(none) shared(mask, x, xm)
    for (std::int64_t i = 1; i <= x.size(); ++i) xm(i) = mask(i) * x(i);
  }
  exchange_neighbour_rows(problem.active.rows, xm);
  gtgprod(problem.sens, problem.active, xm, y, work.product);
  CALC_WTW_MOD::calc_WTW_vec(problem.weights, xm, xm, v);
  const PhaseTimer timer(Phase::vectors);
#pragma omp parallel for schedule(static) default(none) shared(mask, beta, v, x, y)
  for (std::int64_t i = 1; i <= x.size(); ++i) y(i) = mask(i) * (y(i) + beta * v(i));
  clear_neighbour_rows(problem.active.rows, y);
}

}  // namespace quorivex
