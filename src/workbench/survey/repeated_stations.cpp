// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/repeated_stations.h"

#include "workbench/geometry/same_place.h"

namespace quorivex {

Stations average_repeated(const Stations& stations) {
  const std::vector<std::size_t> first =
      first_at_place(stations.easting, stations.northing, stations.elevation);
  Stations sums = stations;
  std::vector<double> count(stations.size(), 1.0);
  std::vector<std::size_t> kept;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    if (first[i] == i) {
      kept.push_back(i);
      continue;
    }
    count[first[i]] += 1.0;
    sums.field[first[i]] += stations.field[i];
    if (!sums.deviation.empty()) sums.deviation[first[i]] += stations.deviation[i];
  }
  for (const std::size_t i : kept) {
    sums.field[i] /= count[i];
    if (!sums.deviation.empty()) sums.deviation[i] /= count[i];
  }
  return select(sums, kept);
}

}  // namespace quorivex
