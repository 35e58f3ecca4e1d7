// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/thinning.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>
#include <utility>

namespace quorivex {
namespace {

/// The state of the walk along one line.
struct Walk {
  bool begun = false;
  std::size_t last = 0;    // the last station visited
  double distance = 0.0;   // of that one from the line's first station
  double multiple = -1.0;  // of the spacing, the one nearest to it
  std::size_t best = 0;    // the station nearest to that multiple so far
  double off = 0.0;        // distance of `best` from the multiple
};

}  // namespace

std::vector<std::size_t> thin_along_lines(const Stations& stations, double spacing) {
  const auto lines =
      stations.line.empty() ? 0 : *std::max_element(stations.line.begin(), stations.line.end()) + 1;
  std::vector<Walk> walks(static_cast<std::size_t>(lines));
  std::vector<std::size_t> kept;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    Walk& walk = walks[static_cast<std::size_t>(stations.line[i])];
    if (walk.begun) {
      walk.distance += std::hypot(stations.easting[i] - stations.easting[walk.last],
                                  stations.northing[i] - stations.northing[walk.last]);
    }
    walk.last = i;
    const double multiple = std::floor(walk.distance / spacing + 0.5);
    const double off = std::abs(walk.distance - multiple * spacing);
    if (walk.begun && multiple == walk.multiple && off >= walk.off) continue;
    if (walk.begun && multiple != walk.multiple) kept.push_back(walk.best);
    walk.begun = true;
    walk.multiple = multiple;
    walk.off = off;
    walk.best = i;
  }
  for (const Walk& walk : walks) {
    if (walk.begun) kept.push_back(walk.best);
  }
  std::sort(kept.begin(), kept.end());
  return kept;
}

std::vector<std::size_t> thin_to_grid(const Stations& stations, double size, GridChoice choice) {
  using Cell = std::pair<double, double>;  // whole numbers
  const std::size_t n = stations.size();
  std::vector<Cell> cells(n);
  std::vector<double> rank(n);  // orders the stations of a cell
  for (std::size_t i = 0; i < n; ++i) {
    cells[i] = {std::floor(stations.easting[i] / size), std::floor(stations.northing[i] / size)};
    rank[i] = choice == GridChoice::median
                  ? stations.field[i]
                  : std::hypot(stations.easting[i] - (cells[i].first + 0.5) * size,
                               stations.northing[i] - (cells[i].second + 0.5) * size);
  }
  std::vector<std::size_t> order(n);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return std::tie(cells[a], rank[a], a) < std::tie(cells[b], rank[b], b);
  });
  std::vector<std::size_t> kept;
  for (std::size_t first = 0; first < n;) {
    std::size_t last = first;
    while (last < n && cells[order[last]] == cells[order[first]]) ++last;
    kept.push_back(order[choice == GridChoice::median ? first + (last - first - 1) / 2 : first]);
    first = last;
  }
  std::sort(kept.begin(), kept.end());
  return kept;
}

Stations select(const Stations& stations, const std::vector<std::size_t>& kept) {
  Stations chosen;
  for (const std::size_t i : kept) {
    chosen.easting.push_back(stations.easting[i]);
    chosen.northing.push_back(stations.northing[i]);
    chosen.elevation.push_back(stations.elevation[i]);
    chosen.field.push_back(stations.field[i]);
    chosen.line.push_back(stations.line[i]);
    chosen.number.push_back(stations.number[i]);
    if (!stations.deviation.empty()) chosen.deviation.push_back(stations.deviation[i]);
    if (!stations.fiducial.empty()) chosen.fiducial.push_back(stations.fiducial[i]);
  }
  return chosen;
}

}  // namespace quorivex
