// SPDX-License-Identifier: GPL-3.0-or-later
#include "solver/normal_equations.h"

#include "objective/calc_wtw_mod.h"
#include "sensitivity/products.h"

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
  std::vector<double> from_mref = allocate<double>(as_size(model.size()), kRoutine);
  for (std::int64_t i = 1; i <= model.size(); ++i) from_mref[as_size(i - 1)] = model(i) - mref(i);
  std::vector<double> b = allocate<double>(as_size(model.size()), kRoutine);
  const View1<const double> x = problem.mref_in_derivatives ? from_mref : model;
  CALC_WTW_MOD::calc_WTW_vec(problem.weights, x, from_mref, b);
  const bool influence = !problem.inactive.gradient.empty();
  for (std::int64_t i = 1; i <= model.size(); ++i) {
    const auto at = as_size(i - 1);
    g(i) -= beta * (influence ? b[at] + problem.inactive.gradient[at] : b[at]);
  }
}

void aprod(const Problem& problem, View1<const std::int32_t> mask, double beta,
           View1<const double> x, View1<double> y) {
  constexpr const char* kRoutine = "aprod";
  std::vector<double> masked = allocate<double>(as_size(x.size()), kRoutine);
  const View1<double> xm(masked);
#pragma omp parallel for schedule(static) default(none) shared(mask, x, xm)
  for (std::int64_t i = 1; i <= x.size(); ++i) xm(i) = mask(i) * x(i);
  gtgprod(problem.sens, problem.active, xm, y);
  std::vector<double> model_term = allocate<double>(as_size(x.size()), kRoutine);
  const View1<double> v(model_term);
  CALC_WTW_MOD::calc_WTW_vec(problem.weights, xm, xm, v);
#pragma omp parallel for schedule(static) default(none) shared(mask, beta, v, x, y)
  for (std::int64_t i = 1; i <= x.size(); ++i) y(i) = mask(i) * (y(i) + beta * v(i));
}

}  // namespace quorivex
