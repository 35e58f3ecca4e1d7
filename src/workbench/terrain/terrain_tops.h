// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"
#include "workbench/terrain/terrain.h"

namespace quorivex {

/// Columns whose terrain lies above the top of the mesh, so that no cell holds what is above it.
struct TerrainCut {
  std::int64_t columns = 0;
  double max_height = 0.0;  ///< of the terrain above the mesh top, metres
};

/// A mesh under a terrain.
struct TerrainTops {
  ColumnTops tops;
  TerrainCut cut;
  std::int64_t outside = 0;  ///< columns whose centre the terrain does not cover
  double min = 0.0;          ///< elevations of the terrain on the mesh, metres
  double max = 0.0;
};

/// Number of air cells of each column. The terrain of a column is the lowest of nine elevations: at
/// its corners, the midpoints of its edges and its centre. The layer that holds it is air, also
/// when it lies on that layer's bottom, within the rounding of decimal numbers.
///
/// Each is the mean over the size of a cell where the terrain is a grid that is finer
/// (mean_elevation).
///
/// The terrain's elevation is read once at each of (2 ne + 1) (2 nn + 1) places, row by row from
/// the south, west to east.
/// @throws StopRun saying where a terrain without a value lies on the mesh
TerrainTops column_tops_of_terrain(const Mesh& mesh, const Terrain& terrain);

/// Column tops from a topography file or a grid: the two steps in one call, for callers that need
/// nothing else.
/// @throws StopRun as read_terrain and column_tops_of_terrain; alloc_error("read_topography")
ColumnTops read_topography(const std::string& name, const Mesh& mesh, const Warn& warn);

}  // namespace quorivex
