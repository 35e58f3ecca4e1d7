// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/survey/line_crossings.h"

namespace quorivex {

/// A standard deviation of single readings, and what it was found from.
struct ErrorEstimate {
  double deviation = 0.0;     ///< nT; 0 where there are no samples
  std::int64_t samples = 0;   ///< differences, or crossings
  std::int64_t left_out = 0;  ///< those that do not count
  std::int64_t lines = 0;     ///< with a sample

  /// Whether there are enough samples, 20, to tell more than the order of magnitude.
  bool usable() const { return samples >= 20 && deviation > 0.0; }
};

/// From the fourth differences of five stations in a row, wherever the longest of their steps is at
/// most 1.5 times the shortest and they do not turn. Of white noise it finds the standard
/// deviation; geology of a few stations' width adds to it. Errors that neighbours share are not
/// seen.
ErrorEstimate error_of_differences(const Stations& stations, const LineStations& lines);

/// From the differences of the field, interpolated between stations, where lines cross with less
/// than 5 m between their heights. It sees white noise and errors of levels and positions.
ErrorEstimate error_of_crossings(const Stations& stations, const std::vector<Crossing>& crossings);

/// The least number with two digits that is not less: 2.6 of 2.51.
double two_digits_up(double value);

}  // namespace quorivex
