// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {

// The wavelet grid has nw1 x nw2 x nw3 points along depth, easting and northing, depth fastest.
// Its first nz x ne x nn points are the cells of the mesh, the others padding.

// A grid is the whole one, or the planes of the rows that a process owns.

/// Spreads an active vector or a full-mesh vector over the grid; padding, and cells that are not
/// active, become 0.
/// @throws StopRun "size(x) /= # of cells" for a vector of any other length
void scatter_to_grid(const SensitivityState& sens, const ActiveCells& active, View1<const double> m,
                     View1<double> grid);

/// Collects the active cells of the grid into an active vector; 0 in neighbour rows.
void gather_from_grid(const SensitivityState& sens, const ActiveCells& active,
                      View1<const double> grid, View1<double> m);

}  // namespace quorivex
