// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "base/view1.h"
#include "inversion/objective/model_norm.h"
#include "inversion/solver/problem.h"

namespace quorivex {

/// The objective at a model: phi = phi_d + beta phi_m.
struct ObjectiveValue {
  std::vector<double> predicted;  ///< G m, normalised
  double misfit = 0.0;            ///< phi_d = |predicted - observed|^2
  ModelNorm norm;                 ///< phi_m and its terms

  double total(double beta) const { return misfit + beta * norm.total; }
};

/// Predicted data, misfit and model norm; inactive cells take their reference values.
ObjectiveValue evaluate_objective(const Problem& problem, View1<const double> model);

}  // namespace quorivex
