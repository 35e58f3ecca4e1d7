// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <string_view>

#include "base/uninitialized_array.h"
#include "base/view1.h"
#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {

/// A wavelet grid between the cells and the blocks of the matrix. A process that is alone
/// transforms it in place. One of a team has the planes of the rows of the mesh that it owns, and
/// transforms these along depth and easting; then its share of the lines along northing; then the
/// points of its blocks.
struct GridWork {
  GridWork() = default;
  /// @throws StopRun alloc_error(label)
  GridWork(const SensitivityState& sens, std::string_view label);

  /// The points over the cells, or those that the coefficients belong to: one after the other in
  /// the same place.
  View1<double> cells() { return {values.data(), of_cells}; }
  View1<double> blocks() { return {values.data(), of_blocks}; }

  std::int64_t of_cells = 0;
  std::int64_t of_blocks = 0;
  UninitializedArray<double> values;
  std::array<UninitializedArray<double>, 2> more;  ///< of a team, for lines and what is exchanged
};

/// The transform of `cells` in `blocks`; collective for a team. Of blocks that processes share,
/// each gets all points.
void transform_to_blocks(const SensitivityState& sens, GridWork& work);

/// And back, the inverse; of blocks that processes share, the first one's points are taken. Only
/// planes over cells are meant to be read afterwards.
void transform_to_cells(const SensitivityState& sens, GridWork& work);

}  // namespace quorivex
