// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

namespace quorivex {

struct StationSpacing {
  std::int64_t places = 0;  ///< stations at the same place count once
  double median = 0.0;      ///< of the distances of each place to the nearest other one, m
};

/// Horizontal distances only; the median of a single place is 0. Takes about n log n steps.
/// @param x, y  eastings and northings of n stations
StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y);

}  // namespace quorivex
