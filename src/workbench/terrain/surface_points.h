// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "base/report.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// Scattered points of the ground: easting, northing and elevation in metres, one entry a point.
struct SurfacePoints {
  std::vector<double> easting;
  std::vector<double> northing;
  std::vector<double> elevation;
};

/// Reads a topography file and adds the mesh corners that lie outside the points' bounding box on
/// both axes and farther than a quarter of the first cell's smaller width from every point: each
/// with the elevation of the point nearest to it. A bounding box on less than 30 % of the mesh
/// gives a warning.
/// @throws StopRun for a file that is missing or malformed, for points beside the mesh, and for
///         points with equal easting and northing, after a list of them; file_not_found
SurfacePoints read_surface_points(const std::string& name, const Mesh& mesh, Report& report);

/// The points of the file alone, for a ground without a mesh.
/// @throws StopRun for a malformed file or equal places as above; file_not_found
SurfacePoints read_surface_points(const std::string& name, Report& report);

}  // namespace quorivex
