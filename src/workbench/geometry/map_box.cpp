// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geometry/map_box.h"

#include <algorithm>

namespace quorivex {

MapBox box_of(const std::vector<double>& easting, const std::vector<double>& northing) {
  const auto [west, east] = std::minmax_element(easting.begin(), easting.end());
  const auto [south, north] = std::minmax_element(northing.begin(), northing.end());
  return {*west, *east, *south, *north};
}

}  // namespace quorivex
