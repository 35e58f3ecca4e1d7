// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/coverage.h"

#include <algorithm>

#include "base/stop_run.h"

namespace quorivex {

MapBox box_of(const Mesh& mesh) {
  return {mesh.easting_nodes.front(), mesh.easting_nodes.back(), mesh.northing_nodes.front(),
          mesh.northing_nodes.back()};
}

void check_coverage(const MapBox& terrain, const Mesh& mesh, const Warn& warn) {
  const MapBox extent = box_of(mesh);
  if (terrain.west >= extent.east || terrain.east <= extent.west || terrain.south >= extent.north ||
      terrain.north <= extent.south) {
    stop_run("Error: Topography is outside the mesh.");
  }
  const double easting = std::min(terrain.east, extent.east) - std::max(terrain.west, extent.west);
  const double northing =
      std::min(terrain.north, extent.north) - std::max(terrain.south, extent.south);
  const double fraction =
      (northing * easting) / ((extent.north - extent.south) * (extent.east - extent.west));
  if (0.3 > fraction) warn("Topography region is not large enough.");
}

}  // namespace quorivex
