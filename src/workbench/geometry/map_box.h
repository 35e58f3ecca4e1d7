// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

namespace quorivex {

/// The smallest rectangle along the axes that holds something; metres.
struct MapBox {
  double west = 0.0;
  double east = 0.0;
  double south = 0.0;
  double north = 0.0;

  bool contains(double easting, double northing) const {
    return easting >= west && easting <= east && northing >= south && northing <= north;
  }
};

/// @param easting, northing  of the same, non-zero number of points
MapBox box_of(const std::vector<double>& easting, const std::vector<double>& northing);

}  // namespace quorivex
