// SPDX-License-Identifier: GPL-3.0-or-later
#include "objective/model_norm.h"

namespace quorivex {
namespace {

double difference_term(const DifferenceOperator& op, const std::vector<double>& fixed,
                       View1<const double> u) {
  double sum = 0.0;
  for (std::int64_t r = 1; r <= op.nrow; ++r) {
    double v = row_product(op.active, r, u);
    if (!fixed.empty()) v += fixed[as_size(r - 1)];
    sum += v * v;
  }
  return sum;
}

}  // namespace

ModelNorm calc_model_norm(const WeightingOperators& operators, const InactiveTerms& inactive,
                          bool mref_in_derivatives, View1<const double> model,
                          View1<const double> mref) {
  const View1<const double> Ws(operators.Ws);
  require(model.size() == Ws.size() && mref.size() == Ws.size(),
          "size(model) /= ncell .or. size(mref) /= ncell");
  ModelNorm norm;
  std::vector<double> difference;
  View1<const double> u = model;
  if (mref_in_derivatives) {
    difference = allocate<double>(operators.Ws.size(), "calc_model_norm");
    u = difference;
  }
  for (std::int64_t i = 1; i <= Ws.size(); ++i) {
    const double from_mref = model(i) - mref(i);
    norm.s += Ws(i) * from_mref * (Ws(i) * from_mref);
    if (mref_in_derivatives) difference[as_size(i - 1)] = from_mref;
  }
  norm.x = difference_term(operators.Wx, inactive.x, u);
  norm.y = difference_term(operators.Wy, inactive.y, u);
  norm.z = difference_term(operators.Wz, inactive.z, u);
  norm.total = norm.s + norm.x + norm.y + norm.z;
  return norm;
}

}  // namespace quorivex
