// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "base/uninitialized_array.h"
#include "base/view1.h"
#include "inversion/sensitivity/products.h"
#include "inversion/solver/problem.h"

namespace quorivex {

/// g = G^T (observed - predicted) - beta (gradient of phi_m) / 2, minus half the gradient of phi;
/// what the inactive cells with influence add is part of it.
void formrhs(const Problem& problem, View1<const double> model, View1<const double> predicted,
             double beta, View1<double> g);

/// Vectors between the steps of `aprod`, for any number of calls.
struct AprodWork {
  /// @throws StopRun alloc_error
  explicit AprodWork(const Problem& problem);

  UninitializedArray<double> masked;
  UninitializedArray<double> model_term;
  GtgprodWork product;
};

/// y = mask (G^T G (mask x) + beta W^T W (mask x)), all of length ncell; mask 1 = free, 0 = frozen.
void aprod(const Problem& problem, View1<const std::int32_t> mask, double beta,
           View1<const double> x, View1<double> y, AprodWork& work);

}  // namespace quorivex
