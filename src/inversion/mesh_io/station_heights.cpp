// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/station_heights.h"

#include <algorithm>
#include <limits>

namespace quorivex {

std::int32_t cell_at(const std::vector<double>& nodes, double x) {
  if (!(x >= nodes.front() && x <= nodes.back())) return 0;
  const auto above = std::upper_bound(nodes.begin(), nodes.end(), x);
  return static_cast<std::int32_t>(
      std::clamp<std::ptrdiff_t>(above - nodes.begin(), 1, length(nodes) - 1));
}

std::vector<double> heights_above_cells(const Observations& o, const Ground& ground) {
  const Mesh& mesh = ground.mesh;
  std::vector<double> heights(o.x.size(), std::numeric_limits<double>::quiet_NaN());
  for (std::size_t i = 0; i < heights.size(); ++i) {
    const std::int32_t east = cell_at(mesh.easting_nodes, o.x[i]);
    const std::int32_t north = cell_at(mesh.northing_nodes, o.y[i]);
    if (east == 0 || north == 0) continue;
    heights[i] = o.z[i] - ground.surface(north, east);
  }
  return heights;
}

}  // namespace quorivex
