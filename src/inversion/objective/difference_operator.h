// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/row_sum.h"

namespace quorivex {

/// A row that joins at least one inactive cell with influence: v (m(second) - m(first)). The cells
/// are entries of the active map: p > 0 is an active position, -q an inactive cell with influence.
struct InfluenceRow {
  std::int32_t first = 0;
  std::int32_t second = 0;
  double v = 0.0;
};

/// First differences along one axis: for each active cell c, from 0, the row that joins it with the
/// next cell along the axis. Where the next cell is not active, the position is the cell's own and
/// the weight 0.
struct DifferenceOperator {
  std::vector<double> weights;          ///< v^2 of the row
  std::vector<std::int32_t> next;       ///< from 0; empty along depth, where it is c + 1
  std::vector<std::int32_t> before;     ///< likewise, c - 1
  std::vector<InfluenceRow> influence;  ///< in the order of their first cells
  RowPieces influence_rows;             ///< these, by the rows of the ground

  std::int64_t next_of(std::int64_t c) const {
    return next.empty() ? std::min(c + 1, length(weights) - 1) : next[as_size(c)];
  }
};

}  // namespace quorivex
