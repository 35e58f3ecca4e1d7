// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/objective/weighting.h"

namespace quorivex {

/// Diagonals of the two terms of the normal equations over the active cells, and their sums.
struct Diagonals {
  std::vector<double> gdiag;  ///< of G^T G
  std::vector<double> wdiag;  ///< of W^T W
  double data_trace = 0.0;
  double model_trace = 0.0;
};

/// The sensitivity file's gdiag has the scale of the data before they are divided by their standard
/// deviations; it is brought to that of the normalised data by the square of the mean of 1/std.
/// @param gdiag  one entry for each cell below the column tops
/// @throws StopRun "size(gdiag) < ncell"
Diagonals calc_diagonals(View1<const double> gdiag, View1<const double> std,
                         const ActiveCells& active, const WeightingOperators& operators);

}  // namespace quorivex
