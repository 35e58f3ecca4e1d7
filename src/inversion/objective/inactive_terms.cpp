// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/inactive_terms.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "calc_inactive_cell_components";

std::vector<double> fixed_rows(const DifferenceOperator& op, View1<const double> influence,
                               View1<double> gradient) {
  std::vector<double> rows = allocate<double>(as_size(op.nrow), kRoutine);
  for (std::int64_t r = 1; r <= op.nrow; ++r) {
    const double v = row_product(op.inactive, r, influence);
    rows[as_size(r - 1)] = v;
    add_row(op.active, r, v, gradient);
  }
  return rows;
}

}  // namespace

InactiveTerms calc_inactive_cell_components(const WeightingOperators& operators,
                                            View1<const double> influence) {
  InactiveTerms terms;
  if (influence.size() == 0) return terms;
  terms.gradient = allocate<double>(operators.Ws.size(), kRoutine);
  terms.x = fixed_rows(operators.Wx, influence, terms.gradient);
  terms.y = fixed_rows(operators.Wy, influence, terms.gradient);
  terms.z = fixed_rows(operators.Wz, influence, terms.gradient);
  return terms;
}

}  // namespace quorivex
