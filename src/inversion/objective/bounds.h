// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"

namespace quorivex {

/// Bound models over the active cells, scaled by wtz.
struct Bounds {
  std::vector<double> lower;
  std::vector<double> upper;
};

/// @param wtz  the scale that the bounds were multiplied by, one entry per ground cell
/// @throws StopRun naming the first cell whose lower bound is not below its upper bound, by its
///         number in the files and with the bounds as they stand there
void check_bound_order(const Bounds& bounds, const ActiveCells& active, View1<const double> wtz);

/// Numbers of a model's cells outside the bounds, and on one.
struct CellsAtBounds {
  std::int64_t outside = 0;
  std::int64_t touching = 0;
};

CellsAtBounds count_at_bounds(const RowPieces& rows, View1<const double> model,
                              const Bounds& bounds);

/// @throws StopRun when cells of the model of that label lie outside
void check_none_outside(const CellsAtBounds& cells, std::string_view label);

}  // namespace quorivex
