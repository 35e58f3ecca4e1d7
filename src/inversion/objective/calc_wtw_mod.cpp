// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/calc_wtw_mod.h"

#include <algorithm>
#include <numeric>

#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex::CALC_WTW_MOD {
namespace {

/// The vectors of a product, from 0.
struct Product {
  const double* Ws;
  const double* x;
  const double* xs;
  double* y;
};

/// y(c) for the cells first .. last-1. Memory traffic per cell, the neighbours' values in the
/// caches: 24 bytes of weights, 16 of positions, 32 of the four vectors.
void product_of_cells(const WeightingOperators& operators, const Product& p, std::int64_t first,
                      std::int64_t last) {
  const std::int64_t ncell = length(operators.Ws);
  const double* const wx = operators.Wx.weights.data();
  const double* const wy = operators.Wy.weights.data();
  const double* const wz = operators.Wz.weights.data();
  const std::int32_t* const x_next = operators.Wx.next.data();
  const std::int32_t* const y_next = operators.Wy.next.data();
  for (std::int64_t c = first; c < last; ++c) {
    const double own = p.x[c];
    const std::int32_t x_before = operators.Wx.before[as_size(c)];
    const std::int32_t y_before = operators.Wy.before[as_size(c)];
    const std::int64_t above = c > 0 ? c - 1 : 0;
    const std::int64_t below = c + 1 < ncell ? c + 1 : c;
    double sum = wx[c] * (own - p.x[x_next[c]]) + wx[x_before] * (own - p.x[x_before]);
    sum += wy[c] * (own - p.x[y_next[c]]) + wy[y_before] * (own - p.x[y_before]);
    sum += wz[c] * (own - p.x[below]) + wz[above] * (own - p.x[above]);
    p.y[c] = sum + p.Ws[c] * p.Ws[c] * p.xs[c];
  }
  if (operators.influence.empty()) return;
  for (std::int64_t c = first; c < last; ++c) p.y[c] += operators.influence[as_size(c)] * p.x[c];
}

}  // namespace

void calc_WTW_vec(const WeightingOperators& operators, View1<const double> x,
                  View1<const double> xs, View1<double> y) {
  const PhaseTimer timer(Phase::model_term);
  constexpr std::int64_t kPiece = 4096;
  const std::int64_t ncell = length(operators.Ws);
  const Product product{operators.Ws.data(), x.data(), xs.data(), y.data()};
#pragma omp parallel for schedule(static) default(none) shared(operators, product, ncell, kPiece)
  for (std::int64_t first = 0; first < ncell; first += kPiece) {
    product_of_cells(operators, product, first, std::min(first + kPiece, ncell));
  }
}

double calc_WTW_diagonal(const WeightingOperators& operators, View1<double> diag) {
  const View1<const double> Ws(operators.Ws);
  require(diag.size() == Ws.size(), "size(diag) /= ncell");
  for (std::int64_t i = 1; i <= Ws.size(); ++i) diag(i) = Ws(i) * Ws(i);
  for (const DifferenceOperator* op : {&operators.Wx, &operators.Wy, &operators.Wz}) {
    for (std::int64_t c = 0; c < diag.size(); ++c) {
      const double weight = op->weights[as_size(c)];
      diag(c + 1) += weight;
      diag(op->next_of(c) + 1) += weight;
    }
    for (const InfluenceRow& row : op->influence) {
      if (row.first > 0) diag(row.first) += row.v * row.v;
      if (row.second > 0) diag(row.second) += row.v * row.v;
    }
  }
  return row_sum<double>(operators.rows, "calc_WTW_diagonal",
                         [&](std::int64_t first, std::int64_t last) {
                           return std::accumulate(diag.data() + first, diag.data() + last, 0.0);
                         });
}

}  // namespace quorivex::CALC_WTW_MOD
