// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "base/view1.h"
#include "inversion/objective/weighting.h"

namespace quorivex {

/// What the inactive cells with influence add to the differences, fixed for the whole run. All
/// vectors are empty when there are no such cells.
struct InactiveTerms {
  std::vector<double> x;         ///< Wxi m_inactive, one entry per influence row of Wx
  std::vector<double> y;         ///< Wyi m_inactive
  std::vector<double> z;         ///< Wzi m_inactive
  std::vector<double> gradient;  ///< sum of Wk^T (Wki m_inactive), over the active cells
};

/// @param influence  values of the inactive cells with influence
InactiveTerms calc_inactive_cell_components(const WeightingOperators& operators,
                                            View1<const double> influence);

}  // namespace quorivex
