// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/terrain.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"
#include "workbench/terrain/ascii_grid.h"
#include "workbench/terrain/netcdf_grid.h"
#include "workbench/terrain/netcdf_header.h"
#include "workbench/terrain/surface_points.h"
#include "workbench/terrain/terrain_grid.h"
#include "workbench/terrain/triangulation.h"

namespace quorivex {
namespace {

constexpr std::size_t kFirstLine = 200;  // characters that tell what a file is

Terrain from_grid(const std::string& name, TerrainGrid grid) {
  check_elevations(grid, name);
  const auto shared = std::make_shared<const TerrainGrid>(std::move(grid));
  const TerrainGrid& g = *shared;
  return {
      [shared](double easting, double northing) { return shared->elevation(easting, northing); },
      g.west,
      g.east(),
      g.south,
      g.north(),
      fmt::format("{} x {} grid", g.columns, g.rows)};
}

Terrain from_points(const std::string& name, const SurfacePoints& points) {
  for (std::size_t i = 0; i < points.elevation.size(); ++i) {
    const double value = points.elevation[i];
    if (is_ground(value)) continue;
    stop_run(fmt::format(
        " ERROR: topography file {}, point {} ({:.10g} E {:.10g} N), has an elevation of {:g} m;\n"
        " {}. Leave points without a value out.",
        name, i + 1, points.easting[i], points.northing[i], value, why_no_ground(value)));
  }
  const auto surface = std::make_shared<const Surface>(points);
  const auto [west, east] = std::minmax_element(points.easting.begin(), points.easting.end());
  const auto [south, north] = std::minmax_element(points.northing.begin(), points.northing.end());
  return {[surface](double e, double n) { return surface->elevation(e, n); },
          *west,
          *east,
          *south,
          *north,
          fmt::format("{} points", points.easting.size())};
}

}  // namespace

Terrain read_terrain(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("terrain", name);
  std::string first;
  file->read_line(first, kFirstLine);
  try {
    if (is_netcdf(first)) return from_grid(name, read_netcdf_grid(name));
    if (lower_case(trim(first)).starts_with("ncols")) {
      file->rewind();
      return from_grid(name, read_ascii_grid(name, *file));
    }
    return from_points(name, read_surface_points(name));
  } catch (const std::bad_alloc&) {
    alloc_error("read_terrain");
  }
}

}  // namespace quorivex
