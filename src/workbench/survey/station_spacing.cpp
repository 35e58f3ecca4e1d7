// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/station_spacing.h"

#include <algorithm>

#include "base/stop_run.h"
#include "workbench/geometry/kd_tree.h"

namespace quorivex {

StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y) {
  const KdTree2 tree(x, y);
  const std::size_t n = tree.size();
  if (n < 2) return {.places = static_cast<std::int64_t>(n), .median = 0.0};
  std::vector<double> distances = allocate<double>(n, "station_spacing");
  for (std::size_t i = 0; i < n; ++i) distances[i] = tree.distance_to_nearest_other(i);
  std::sort(distances.begin(), distances.end());
  return {.places = static_cast<std::int64_t>(n),
          .median = 0.5 * (distances[(n - 1) / 2] + distances[n / 2])};
}

}  // namespace quorivex
