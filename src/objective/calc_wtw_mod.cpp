// SPDX-License-Identifier: GPL-3.0-or-later
#include "objective/calc_wtw_mod.h"

#include <numeric>

namespace quorivex::CALC_WTW_MOD {
namespace {

/// y += W^T W x, row by row: no vector of rows is needed between the two products.
void add_WTW(const DifferenceOperator& op, View1<const double> x, View1<double> y) {
  for (std::int64_t r = 1; r <= op.nrow; ++r) {
    add_row(op.active, r, row_product(op.active, r, x), y);
  }
}

void add_smallness(View1<const double> Ws, View1<const double> xs, View1<double> y) {
  for (std::int64_t i = 1; i <= Ws.size(); ++i) y(i) += Ws(i) * Ws(i) * xs(i);
}

}  // namespace

void calc_WTW_vec(const WeightingOperators& operators, View1<const double> x,
                  View1<const double> xs, View1<double> y) {
  const std::int64_t ncell = length(operators.Ws);
  constexpr int kTerms = 4;
  std::vector<double> work = allocate<double>(as_size(kTerms * ncell), "calc_WTW_vec");
#pragma omp parallel for schedule(static) default(none) \
    shared(operators, x, xs, work, ncell, kTerms)
  for (int term = 0; term < kTerms; ++term) {
    const View1<double> column(work.data() + term * ncell, ncell);
    if (term == 0) add_WTW(operators.Wx, x, column);
    if (term == 1) add_WTW(operators.Wy, x, column);
    if (term == 2) add_WTW(operators.Wz, x, column);
    if (term == 3) add_smallness(operators.Ws, xs, column);
  }
  const View1<const double> sum(work);
  for (std::int64_t i = 1; i <= ncell; ++i) {
    y(i) = sum(i) + sum(ncell + i) + sum(2 * ncell + i) + sum(3 * ncell + i);
  }
}

double calc_WTW_diagonal(const WeightingOperators& operators, View1<double> diag) {
  const View1<const double> Ws(operators.Ws);
  require(diag.size() == Ws.size(), "size(diag) /= ncell");
  for (std::int64_t i = 1; i <= Ws.size(); ++i) diag(i) = Ws(i) * Ws(i);
  for (const DifferenceOperator* op : {&operators.Wx, &operators.Wy, &operators.Wz}) {
    for (std::size_t at = 0; at < op->active.values.size(); ++at) {
      diag(op->active.columns[at]) += op->active.values[at] * op->active.values[at];
    }
  }
  return std::accumulate(diag.begin(), diag.end(), 0.0);
}

}  // namespace quorivex::CALC_WTW_MOD
