// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "inversion/mesh_io/ground.h"
#include "workbench/geometry/segment_tree.h"

namespace quorivex {

// Where places lie among the cells of a mesh; axes are easting, northing and depth below its top.

inline const std::vector<double>& nodes_of(const Mesh& mesh, std::size_t axis) {
  return axis == 0 ? mesh.easting_nodes : axis == 1 ? mesh.northing_nodes : mesh.depth_nodes;
}

/// A place with its depth below the top of the mesh in place of its elevation.
inline SpacePoint below_top(const Mesh& mesh, const SpacePoint& place) {
  return {place[0], place[1], mesh.z0 - place[2]};
}

/// The cells (from 0) of an axis that a place lies in; -1 outside. On a face it is in the cell
/// beyond it, on the last face in the last cell.
inline std::int32_t cell_along(const std::vector<double>& nodes, double at) {
  if (!(at >= nodes.front() && at <= nodes.back())) return -1;
  const auto beyond = std::upper_bound(nodes.begin(), nodes.end() - 1, at);
  return static_cast<std::int32_t>(beyond - nodes.begin()) - 1;
}

/// Column i, row j and layer k from 0.
using CellPlace = std::array<std::int32_t, 3>;

/// The number of a ground cell, from 1; 0 in air.
inline std::int64_t ground_cell(const Ground& ground, const CellPlace& at) {
  const std::int32_t top = ground.tops(at[1] + 1, at[0] + 1);
  return at[2] < top ? 0 : ground.cells_before(at[1] + 1, at[0] + 1) + at[2] - top + 1;
}

}  // namespace quorivex
