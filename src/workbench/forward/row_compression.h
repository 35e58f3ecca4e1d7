// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/view1.h"

namespace quorivex {

/// Which wavelet coefficients of a row are kept, always the largest.
struct CompressionRule {
  enum class Kind {
    relative_error,  ///< the fewest that leave out at most value^2 of the row's energy
    threshold,       ///< those of magnitude value or more
    fraction         ///< value times the number of ground cells
  };
  Kind kind = Kind::relative_error;
  double value = 0.01;
};

/// Keeps the coefficients whose square exceeds `square`, and the first `ties` of those equal to it.
struct CoefficientThreshold {
  double square = 0.0;
  std::int64_t ties = 0;

  /// Call it for every coefficient of the row once, in order: it counts the ties.
  bool keeps(double coefficient) {
    const double own = coefficient * coefficient;
    return own > square || (own == square && ties-- > 0);
  }
};

/// The threshold of a row with these coefficients in a survey over `ground_cells` cells. `work` has
/// the capacity of the row, so that nothing is allocated.
CoefficientThreshold choose_threshold(View1<const double> coefficients, std::int64_t ground_cells,
                                      const CompressionRule& rule, std::vector<double>& work);

}  // namespace quorivex
