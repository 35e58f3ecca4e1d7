// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// Number of air cells of each column below a ground, an elevation in metres over easting and
/// northing. The ground of a column is the lowest of nine: at its corners, the midpoints of its
/// edges and its centre. The layer that holds it is air, also when it lies on that layer's bottom.
///
/// `ground` is asked once for each of (2 ne + 1) (2 nn + 1) places, row by row from the south, west
/// to east; NaN counts as no value.
ColumnTops column_tops(const Mesh& mesh, const std::function<double(double, double)>& ground);

/// Column tops from a topography file: reads and checks its points, triangulates them and looks at
/// the surface under each column.
/// @throws StopRun as read_surface_points and Surface; alloc_error("read_topography")
ColumnTops read_topography(const std::string& name, const Mesh& mesh);

}  // namespace quorivex
