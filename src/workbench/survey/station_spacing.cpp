// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/station_spacing.h"

#include <algorithm>

#include "base/place_tree.h"
#include "base/stop_run.h"

namespace quorivex {

StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y) {
  const PlaceTree tree(x, y);
  const std::size_t n = tree.size();
  if (n < 2) return {.places = static_cast<std::int64_t>(n), .median = 0.0};
  std::vector<double> distances = allocate<double>(n, "station_spacing");
  for (std::size_t i = 0; i < n; ++i) distances[i] = tree.to_nearest_other(i);
  std::sort(distances.begin(), distances.end());
  return {.places = static_cast<std::int64_t>(n),
          .median = 0.5 * (distances[(n - 1) / 2] + distances[n / 2])};
}

}  // namespace quorivex
