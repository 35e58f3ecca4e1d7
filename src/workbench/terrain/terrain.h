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
  std::string description = "level";  ///< "1849 points", "40 x 30 grid", "... in feet"
  std::string crs = {};               ///< of a grid: "EPSG:32754"; empty where it is not known
  /// Metres; NaN where the file has no value. Outside what the terrain covers it is that of the
  /// nearest point, or of the nearest edge of a grid.
  MapFunction<double> elevation;
  /// Of a grid, its mean over a rectangle about the place (TerrainGrid::mean_elevation).
  std::function<double(double easting, double northing, double wide, double high)> mean = {};
  MapFunction<bool> covers = [](double, double) { return true; };
};

Terrain level_terrain(double elevation);

/// The elevation of a piece of ground, such as a cell's: the mean over it where the terrain is a
/// grid of which several nodes fall into it, otherwise the elevation of its centre.
double mean_elevation(const Terrain& terrain, double easting, double northing, double wide,
                      double high);

/// Reads a terrain: a topography file or a plain list of points, which are joined to triangles, or
/// a grid, between whose nodes elevations are bilinear: any file that is no list of points and that
/// GDAL knows (read_gdal_grid).
/// @throws StopRun naming what is wrong in the file; file_not_found
Terrain read_terrain(const std::string& name);

/// The same for a mesh, which it should overlap: corners of the mesh become points of a topography
/// file (read_surface_points). Warns of a terrain over less than 30 % of the mesh, and
/// of elevations that are not in metres.
/// @throws StopRun also for a terrain outside the mesh
Terrain read_terrain(const std::string& name, const Mesh& mesh, const Warn& warn);

}  // namespace quorivex
