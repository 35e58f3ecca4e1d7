// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"

namespace quorivex {

// Three kinds of cell vectors: full (every cell of the mesh), below (the ground cells,
// those below the column tops) and active (ncell entries), each in cell order.

/// Reference-model values of the cells that are not active.
struct FixedValues {
  std::vector<double> inactive;   ///< one per cell with map entry 0, air cells 0.0
  std::vector<double> influence;  ///< one per cell with map entry -q, at q
};

/// Splits off the values of the cells that are not active from a full reference model.
FixedValues split_reference(const ActiveCells& active, View1<const double> full);

void full_to_active(const ActiveCells& active, View1<const double> full, View1<double> amodel);
void active_to_full(const ActiveCells& active, const FixedValues& fixed, View1<const double> amodel,
                    View1<double> full);
void full_to_below(const Ground& ground, View1<const double> full, View1<double> amodel);
void below_to_active(const ActiveCells& active, View1<const double> m1, View1<double> m2);
/// Ground cells that are not active become 0.
void active_to_below(const ActiveCells& active, View1<const double> m2, View1<double> m1);

}  // namespace quorivex
