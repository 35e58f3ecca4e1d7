// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/terrain.h"

#include <fmt/format.h>

#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "base/stop_run.h"
#include "base/text_file.h"
#include "workbench/terrain/coverage.h"
#include "workbench/terrain/gdal_grid.h"
#include "workbench/terrain/surface_points.h"
#include "workbench/terrain/terrain_grid.h"
#include "workbench/terrain/triangulation.h"

namespace quorivex {
namespace {

/// The mesh that a terrain is for, if any.
struct Purpose {
  const Mesh* mesh = nullptr;
  Warn warn;
};

Terrain from_grid(const std::string& name, TerrainGrid read, const Purpose& purpose) {
  check_elevations(read, name);
  const auto grid = std::make_shared<const TerrainGrid>(std::move(read));
  const MapBox box{grid->west, grid->east(), grid->south, grid->north()};
  if (purpose.mesh) check_coverage(box, *purpose.mesh, purpose.warn);
  std::string description = fmt::format("{} x {} grid", grid->columns, grid->rows);
  if (grid->unit != "metres") {
    description += " in " + grid->unit;
    if (purpose.mesh) {
      purpose.warn(fmt::format("the elevations of {} are in {}; they were converted to metres",
                               name, grid->unit));
    }
  }
  return {.name = name,
          .description = description,
          .crs = grid->crs,
          .elevation = [grid](double e, double n) { return grid->elevation(e, n); },
          .mean = [grid](double e, double n, double wide,
                         double high) { return grid->mean_elevation(e, n, wide, high); },
          .covers = [box](double e, double n) { return box.contains(e, n); }};
}

Terrain from_points(const std::string& name, const Purpose& purpose) {
  const SurfacePoints points = purpose.mesh ? read_surface_points(name, *purpose.mesh, purpose.warn)
                                            : read_surface_points(name);
  const auto surface = std::make_shared<const Surface>(points);
  return {.name = name,
          .description = fmt::format("{} points", points.easting.size() - points.appended),
          .elevation = [surface](double e, double n) { return surface->elevation(e, n); },
          .covers = [surface](double e, double n) { return surface->covers(e, n); }};
}

Terrain read(const std::string& name, const Purpose& purpose) {
  if (!TextFile::open(name)) cannot_open("topography", name);
  try {
    if (are_points(name)) return from_points(name, purpose);
    std::optional<TerrainGrid> grid = read_gdal_grid(name);
    if (grid) return from_grid(name, std::move(*grid), purpose);
    return from_points(name, purpose);  // which says what is wrong with them
  } catch (const std::bad_alloc&) {
    alloc_error("read_topography");
  }
}

}  // namespace

Terrain level_terrain(double elevation) {
  return {.name = {}, .elevation = [elevation](double, double) { return elevation; }};
}

double mean_elevation(const Terrain& terrain, double easting, double northing, double wide,
                      double high) {
  return terrain.mean ? terrain.mean(easting, northing, wide, high)
                      : terrain.elevation(easting, northing);
}

Terrain read_terrain(const std::string& name) { return read(name, {}); }

Terrain read_terrain(const std::string& name, const Mesh& mesh, const Warn& warn) {
  return read(name, {&mesh, warn});
}

}  // namespace quorivex
