// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/model_norm.h"

#include "base/phase_times.h"

namespace quorivex {
namespace {

constexpr const char* kNormRoutine = "calc_model_norm";

/// The rows of two active cells, then those of the inactive cells with influence.
double difference_term(const DifferenceOperator& op, const RowPieces& rows,
                       const std::vector<double>& fixed, View1<const double> u) {
  const auto of_active =
      row_sum<double>(rows, kNormRoutine, [&](std::int64_t first, std::int64_t last) {
        double sum = 0.0;
        for (std::int64_t c = first; c < last; ++c) {
          const double difference = u(op.next_of(c) + 1) - u(c + 1);
          sum += op.weights[as_size(c)] * difference * difference;
        }
        return sum;
      });
  const auto of_influence =
      row_sum<double>(op.influence_rows, kNormRoutine, [&](std::int64_t first, std::int64_t last) {
        double sum = 0.0;
        for (auto r = as_size(first); r < as_size(last); ++r) {
          const InfluenceRow& row = op.influence[r];
          double value = fixed[r];
          if (row.first > 0) value -= row.v * u(row.first);
          if (row.second > 0) value += row.v * u(row.second);
          sum += value * value;
        }
        return sum;
      });
  return of_active + of_influence;
}

}  // namespace

ModelNorm calc_model_norm(const WeightingOperators& operators, const InactiveTerms& inactive,
                          bool mref_in_derivatives, View1<const double> model,
                          View1<const double> mref) {
  const PhaseTimer timer(Phase::model_term);
  const View1<const double> Ws(operators.Ws);
  require(model.size() == Ws.size() && mref.size() == Ws.size(),
          "size(model) /= ncell .or. size(mref) /= ncell");
  ModelNorm norm;
  std::vector<double> difference;
  View1<const double> u = model;
  if (mref_in_derivatives) {
    difference = allocate<double>(operators.Ws.size(), kNormRoutine);
    u = difference;
  }
  norm.s =
      row_sum<double>(operators.rows, kNormRoutine, [&](std::int64_t first, std::int64_t last) {
        double sum = 0.0;
        for (std::int64_t i = first + 1; i <= last; ++i) {
          const double from_mref = model(i) - mref(i);
          sum += Ws(i) * from_mref * (Ws(i) * from_mref);
          if (mref_in_derivatives) difference[as_size(i - 1)] = from_mref;
        }
        return sum;
      });
  norm.x = difference_term(operators.Wx, operators.rows, inactive.x, u);
  norm.y = difference_term(operators.Wy, operators.rows, inactive.y, u);
  norm.z = difference_term(operators.Wz, operators.rows, inactive.z, u);
  norm.total = norm.s + norm.x + norm.y + norm.z;
  return norm;
}

}  // namespace quorivex
