// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/inactive_terms.h"

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kInactiveTermsRoutine = "calc_inactive_cell_components";

/// Wki m_inactive; adds Wk^T of it to the gradient.
std::vector<double> fixed_rows(const DifferenceOperator& op, View1<const double> influence,
                               View1<double> gradient) {
  std::vector<double> rows = allocate<double>(op.influence.size(), kInactiveTermsRoutine);
  for (std::size_t r = 0; r < rows.size(); ++r) {
    const InfluenceRow& row = op.influence[r];
    if (row.first < 0) rows[r] -= row.v * influence(-row.first);
    if (row.second < 0) rows[r] += row.v * influence(-row.second);
    if (row.first > 0) gradient(row.first) -= row.v * rows[r];
    if (row.second > 0) gradient(row.second) += row.v * rows[r];
  }
  return rows;
}

}  // namespace

InactiveTerms calc_inactive_cell_components(const WeightingOperators& operators,
                                            View1<const double> influence) {
  InactiveTerms terms;
  if (influence.size() == 0) return terms;
  terms.gradient = allocate<double>(operators.Ws.size(), kInactiveTermsRoutine);
  terms.x = fixed_rows(operators.Wx, influence, terms.gradient);
  terms.y = fixed_rows(operators.Wy, influence, terms.gradient);
  terms.z = fixed_rows(operators.Wz, influence, terms.gradient);
  return terms;
}

}  // namespace quorivex
