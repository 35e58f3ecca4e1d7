// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/terrain.h"

#include <fmt/format.h>

#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"
#include "workbench/terrain/ascii_grid.h"
#include "workbench/terrain/coverage.h"
#include "workbench/terrain/netcdf_grid.h"
#include "workbench/terrain/netcdf_header.h"
#include "workbench/terrain/surface_points.h"
#include "workbench/terrain/terrain_grid.h"
#include "workbench/terrain/triangulation.h"

namespace quorivex {
namespace {

constexpr std::size_t kFirstLine = 200;  // characters that tell what a file is

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
  return {.name = name,
          .description = fmt::format("{} x {} grid", grid->columns, grid->rows),
          .elevation = [grid](double e, double n) { return grid->elevation(e, n); },
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
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) cannot_open("topography", name);
  std::string first;
  file->read_line(first, kFirstLine);
  try {
    if (is_netcdf(first)) return from_grid(name, read_netcdf_grid(name), purpose);
    if (lower_case(trim(first)).starts_with("ncols")) {
      file->rewind();
      return from_grid(name, read_ascii_grid(name, *file), purpose);
    }
    return from_points(name, purpose);
  } catch (const std::bad_alloc&) {
    alloc_error("read_topography");
  }
}

}  // namespace

Terrain level_terrain(double elevation) {
  return {.name = {}, .elevation = [elevation](double, double) { return elevation; }};
}

Terrain read_terrain(const std::string& name) { return read(name, {}); }

Terrain read_terrain(const std::string& name, const Mesh& mesh, const Warn& warn) {
  return read(name, {&mesh, warn});
}

}  // namespace quorivex
