// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace quorivex {

struct StationSpacing {
  std::int64_t places = 0;  ///< stations at the same place count once
  double median = 0.0;      ///< of the distances of each place to the nearest other one, m
  /// Between neighbouring lines, m; nothing where the stations stand on a single line, or less than
  /// twice as far apart across lines as along them.
  std::optional<double> lines;
};

/// Horizontal distances only; the median of a single place is 0. The direction from a place to the
/// nearest other one is that of its line, if another place continues it backward. The nearest place
/// across it with a line of about the same direction is on the next line. The distance of lines is
/// the median of those found at 200 places, if at half of them or more one is found.
/// @param x, y  eastings and northings of the stations, in any order
StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y);

}  // namespace quorivex
