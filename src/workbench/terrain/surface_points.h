// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "inversion/mesh_io/mesh.h"
#include "workbench/terrain/coverage.h"

namespace quorivex {

/// Scattered points of the terrain: easting, northing and elevation in metres, one entry per point.
struct SurfacePoints {
  std::vector<double> easting;
  std::vector<double> northing;
  std::vector<double> elevation;
  std::size_t appended = 0;  ///< corners of the mesh, which stand last
};

/// Whether a file begins as a list of points, plain or counted.
bool are_points(const std::string& name);

/// Reads a topography file, counted or a plain list of points, and adds the mesh corners that lie
/// outside the points' bounding box on both axes and farther than a quarter of the first cell's
/// smaller width from every point: each with the elevation of the point nearest to it. Warns of a
/// bounding box on less than 30 % of the mesh.
/// @throws StopRun for a malformed file, for elevations that cannot be meant, for points outside
///         the mesh, and, after a list of them, for points with equal easting and northing;
///         file_not_found
SurfacePoints read_surface_points(const std::string& name, const Mesh& mesh, const Warn& warn);

/// The points of the file alone, for a terrain without a mesh.
/// @throws StopRun as above; file_not_found
SurfacePoints read_surface_points(const std::string& name);

}  // namespace quorivex
