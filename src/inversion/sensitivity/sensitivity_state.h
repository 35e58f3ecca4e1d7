// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/uninitialized_array.h"
#include "base/view1.h"
#include "inversion/sensitivity/matrix_part.h"
#include "inversion/sensitivity/sparse_matrix.h"
#include "inversion/sensitivity/wtn_mod.h"

namespace quorivex {

/// Sensitivities of every datum to every ground cell, or those that a process has; a datum's row
/// contiguous.
struct FullMatrix {
  /// So many neighbouring columns are summed up as doubles, from the first on.
  static constexpr std::int64_t kGranule = 128;

  std::int64_t nsens = 0;
  UninitializedArray<float> values;

  const float* row(std::int64_t datum) const { return values.data() + (datum - 1) * nsens; }
};

/// The sensitivity matrix and what belongs to it. Rows are data (normalised by their standard
/// deviations), columns the ground cells in cell order.
struct SensitivityState {
  std::int32_t ndata = 0;
  std::int32_t nsens = 0;  ///< of the rows of the mesh that this process has
  bool compressed = false;
  WTN_MOD::Filter filter;     ///< of the wavelet transform; empty in full form
  std::int32_t nw1 = 0;       ///< wavelet grid: points along depth,
  std::int32_t nw2 = 0;       ///< easting,
  std::int32_t nw3 = 0;       ///< northing,
  std::int32_t nwav = 0;      ///< and all of them
  std::vector<double> wtz;    ///< scale of each ground cell
  SparseMatrix Gs;            ///< compressed form
  FullMatrix Gfull;           ///< full form
  std::vector<double> norms;  ///< bounds of the rows, by `row_norms`
  std::vector<double> gdiag;  ///< diagonal of G^T G before normalisation, one per ground cell

  MatrixPart part;  ///< of this process

  /// Of the survey's matrix.
  std::int64_t columns() const { return part.team == ranks::Team::all ? part.columns : nsens; }
  std::array<std::int32_t, 3> grid_counts() const { return {nw1, nw2, nw3}; }
};

}  // namespace quorivex
