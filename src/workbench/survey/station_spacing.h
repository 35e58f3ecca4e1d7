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

/// Horizontal distances only; the median of a single place is 0. A place is on a line where those
/// around it, within 2 to 15 times that median, lie along an axis. The nearest place across it that
/// is on a line of about the same direction is on the next line. The distance of lines is the
/// median of those found at 200 places, if there is one at half of them or more.
/// @param x, y  eastings and northings of the stations, in any order
StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y);

}  // namespace quorivex
