// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

namespace quorivex {

/// The ground over easting and northing. Beyond its box it is that of the nearest edge.
struct Terrain {
  std::function<double(double, double)> elevation;  ///< metres; NaN where the file has no value
  double west = 0.0;
  double east = 0.0;
  double south = 0.0;
  double north = 0.0;
  std::string in_words;  ///< "1849 points", "40 x 30 grid"

  bool covers(double easting, double northing) const {
    return easting >= west && easting <= east && northing >= south && northing <= north;
  }
};

/// Reads a terrain: a topography file, whose points are joined to triangles, or a grid, between
/// whose nodes elevations are bilinear: netCDF, or ESRI ASCII (first word "ncols").
/// @throws StopRun naming what is wrong in the file; file_not_found
Terrain read_terrain(const std::string& name);

}  // namespace quorivex
