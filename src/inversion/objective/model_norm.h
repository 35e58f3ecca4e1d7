// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/view1.h"
#include "inversion/objective/inactive_terms.h"
#include "inversion/objective/weighting.h"

namespace quorivex {

/// The model objective and its terms; x is northing, y easting.
struct ModelNorm {
  double total = 0.0;  ///< s + x + y + z, added in this order
  double s = 0.0;
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

/// s = |Ws (m - mref)|^2; each other term is |Wk u + what the inactive cells with influence add|^2
/// with u = m - mref when the reference model enters the derivatives, m otherwise.
/// @throws StopRun "size(model) /= ncell .or. size(mref) /= ncell"
ModelNorm calc_model_norm(const WeightingOperators& operators, const InactiveTerms& inactive,
                          bool mref_in_derivatives, View1<const double> model,
                          View1<const double> mref);

}  // namespace quorivex
