// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

#include "inversion/mesh_io/mesh.h"
#include "workbench/terrain/coverage.h"

namespace quorivex {

/// A function of easting and northing, metres.
template <class Value>
using MapFunction = std::function<Value(double easting, double northing)>;

/// The surface of the Earth over easting and northing.
struct Terrain {
  std::string name;                   ///< of the file
  std::string description = "level";  ///< "1849 points", "40 x 30 grid"
  /// Metres; NaN where the file has no value. Outside what the terrain covers it is that of the
  /// nearest point, or of the nearest edge of a grid.
  MapFunction<double> elevation;
  MapFunction<bool> covers = [](double, double) { return true; };
};

Terrain level_terrain(double elevation);

/// Reads a terrain: a topography file or a plain list of points, which are joined to triangles, or
/// a grid, between whose nodes elevations are bilinear: netCDF, or ESRI ASCII (first word "ncols").
/// @throws StopRun naming what is wrong in the file; file_not_found
Terrain read_terrain(const std::string& name);

/// The same for a mesh, which it should overlap: corners of the mesh become points of a topography
/// file (read_surface_points). Warns of a terrain over less than 30 % of the mesh.
/// @throws StopRun also for a terrain outside the mesh
Terrain read_terrain(const std::string& name, const Mesh& mesh, const Warn& warn);

}  // namespace quorivex
