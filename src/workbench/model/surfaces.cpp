// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/surfaces.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "base/text.h"
#include "workbench/coordinates/crs.h"
#include "workbench/model/operation_keys.h"
#include "workbench/terrain/terrain.h"

namespace quorivex {
namespace {

/// Elevations of a surface at the columns (mean_elevation), easting fastest; NaN without one.
using SurfaceElevations = std::vector<double>;

void warn_of_columns(const Operation& operation, const ModelSources& sources, std::int64_t number,
                     const std::string& what) {
  if (number == 0) return;
  sources.warn(fmt::format("{}: {} of {} columns of the mesh {}", operation.place, number,
                           sources.cells.ground->columns(), what));
}

SurfaceElevations sample(const Operation& operation, const ModelSources& sources,
                         const Terrain& terrain) {
  const ModelCells& cells = sources.cells;
  SurfaceElevations elevations;
  elevations.reserve(as_size(cells.ground->columns()));
  std::int64_t outside = 0;
  std::int64_t missing = 0;
  const Mesh& mesh = cells.ground->mesh;
  for (std::size_t j = 0; j < cells.northings.size(); ++j) {
    for (std::size_t i = 0; i < cells.eastings.size(); ++i) {
      const double easting = cells.eastings[i];
      const double northing = cells.northings[j];
      elevations.push_back(mean_elevation(terrain, easting, northing, mesh.de[i], mesh.dn[j]));
      if (!terrain.covers(easting, northing)) {
        ++outside;
      } else if (!std::isfinite(elevations.back())) {
        ++missing;
      }
    }
  }
  if (outside == cells.ground->columns()) {
    refuse(operation, fmt::format("the surface {} lies outside the mesh", terrain.name));
  }
  warn_of_columns(
      operation, sources, outside,
      fmt::format("lie outside the surface {};\nits nearest elevation holds there", terrain.name));
  warn_of_columns(operation, sources, missing,
                  fmt::format("have no elevation in {};\nno cell of theirs belongs to the region",
                              terrain.name));
  return elevations;
}

SurfaceElevations read_surface(const Operation& operation, const ModelSources& sources,
                               const std::string& key) {
  const std::string& source = needed_text(operation, key);
  if (to_number(source)) {
    const double level = needed_number(operation, key, {-kMaxPlace, kMaxPlace});
    return allocate<double>(as_size(sources.cells.ground->columns()), "qvx model", level);
  }
  const Terrain terrain = read_for(operation, [&] {
    Terrain surface = read_terrain(source);
    common_crs({sources.crs, {surface.crs, "the surface " + source}});
    return surface;
  });
  return sample(operation, sources, terrain);
}

double at_column(const SurfaceElevations& surface, const ModelCells& cells, const GridCell& at) {
  return surface[as_size((at.j - 1) * std::int64_t{cells.ground->mesh.ne} + at.i - 1)];
}

// Both are false where the surface has no elevation.
bool is_above(double elevation, double surface) { return elevation >= surface - kOnBoundary; }
bool is_below(double elevation, double surface) { return elevation < surface - kOnBoundary; }

Selection select_side(const Operation& operation, const ModelSources& sources,
                      bool (*is_on_side)(double elevation, double surface)) {
  const SurfaceElevations surface = read_surface(operation, sources, "surface");
  return select_cells(sources.cells, [&](const GridCell& at) {
    return is_on_side(sources.cells.centre(at)[2], at_column(surface, sources.cells, at));
  });
}

}  // namespace

Selection select_above(const Operation& operation, const ModelSources& sources) {
  return select_side(operation, sources, is_above);
}

Selection select_below(const Operation& operation, const ModelSources& sources) {
  return select_side(operation, sources, is_below);
}

Selection select_between(const Operation& operation, const ModelSources& sources) {
  const SurfaceElevations top = read_surface(operation, sources, "top");
  const SurfaceElevations base = read_surface(operation, sources, "base");
  std::int64_t crossed = 0;
  for (std::size_t column = 0; column < top.size(); ++column) {
    if (top[column] < base[column]) ++crossed;
  }
  warn_of_columns(operation, sources, crossed,
                  "have the top= below the base=;\nno cell of theirs belongs to the region");
  return select_cells(sources.cells, [&](const GridCell& at) {
    const double elevation = sources.cells.centre(at)[2];
    return is_below(elevation, at_column(top, sources.cells, at)) &&
           is_above(elevation, at_column(base, sources.cells, at));
  });
}

}  // namespace quorivex
