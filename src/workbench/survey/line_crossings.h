// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <vector>

#include "workbench/survey/thinning.h"

namespace quorivex {

/// The stations of each line, by their indices from 0 in the order of the table.
using LineStations = std::vector<std::vector<std::size_t>>;

LineStations stations_of_lines(const Stations& stations);

/// A step from a station of a line to the next, and where on it a crossing is: 0 at the first
/// station, 1 at the second.
struct CrossedStep {
  std::size_t from = 0;
  std::size_t to = 0;
  double at = 0.0;

  double interpolate(const std::vector<double>& values) const {
    return (1.0 - at) * values[from] + at * values[to];
  }
};

struct Crossing {
  CrossedStep a;
  CrossedStep b;
};

struct LineCrossings {
  std::vector<Crossing> crossings;
  /// More than 1e9 pairs of steps lie near each other, or there are more crossings than steps:
  /// these are no lines, and no crossings are returned.
  bool too_dense = false;
};

/// Where steps of different lines cross, at 30 degrees or more. Steps over a gap, of more than
/// three times the median of their line or ten times that of the survey, do not count.
LineCrossings line_crossings(const Stations& stations, const LineStations& lines);

}  // namespace quorivex
