// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/survey_ground.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "base/statistics.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

/// The command ends with the one message; qvx check has the words for what is wrong in the file.
Mesh read_mesh(const std::string& name) {
  try {
    return read_mesh_file(name);
  } catch (const StopRun& stop) {
    throw StopRun(std::string(stop.console()), std::string(stop.log()));
  }
}

}  // namespace

std::vector<double> heights_above(const Terrain& terrain, const Observations& data) {
  std::vector<double> heights;
  heights.reserve(data.x.size());
  for (std::size_t i = 0; i < data.x.size(); ++i) {
    const double elevation = terrain.elevation(data.x[i], data.y[i]);
    if (!std::isfinite(elevation)) {
      stop_run(
          fmt::format(" ERROR: the terrain {} has no elevation at {:.10g} E {:.10g} N, the station "
                      "of datum {}.",
                      terrain.name, data.x[i], data.y[i], i + 1));
    }
    heights.push_back(data.z[i] - elevation);
  }
  return heights;
}

Terrain terrain_of(const GroundSource& source, const Mesh& mesh, const Warn& warn) {
  Terrain terrain = source.topography.empty() ? level_terrain(source.elevation.value_or(mesh.z0))
                                              : read_terrain(source.topography, mesh, warn);
  terrain.crs = common_crs({source.crs, {terrain.crs, "the terrain " + source.topography}});
  return terrain;
}

void warn_of_misfit(const Terrain& terrain, const TerrainTops& found, const Mesh& mesh,
                    const Warn& warn) {
  const std::int64_t columns = std::int64_t{mesh.ne} * mesh.nn;
  if (found.outside * 100 > columns) {
    warn(
        fmt::format("{} of {} columns of the mesh lie outside the terrain {} ({});\n"
                    "there the nearest elevation is used",
                    found.outside, columns, terrain.name, terrain.description));
  }
  if (found.cut.columns > 0) {
    warn(fmt::format(
        "the top of the mesh, {:.10g} m, cuts off the terrain of {} of {} columns, which rises up\n"
        "to {:.4g} m above it; no cell holds what lies there. Make a mesh with a higher "
        "top;\nqvx mesh puts it above the terrain that --topography or --elevation gives it",
        mesh.z0, found.cut.columns, columns, found.cut.max_height));
  }
}

namespace {

/// The mesh below a terrain.
struct CutGround {
  Ground ground;
  TerrainCut cut;
};

CutGround ground_below(const Terrain& terrain, Mesh mesh, const Warn& warn) {
  TerrainTops found = column_tops_of_terrain(mesh, terrain);
  warn_of_misfit(terrain, found, mesh, warn);
  Ground ground = make_ground(std::move(mesh), std::move(found.tops), "read_topography");
  check_not_all_air(ground);
  return {std::move(ground), found.cut};
}

}  // namespace

TerrainGround read_terrain_ground(const GroundSource& source, const Warn& warn) {
  Mesh mesh = read_mesh(source.mesh);
  check_widths(mesh);
  const Terrain terrain = terrain_of(source, mesh, warn);
  return {ground_below(terrain, std::move(mesh), warn).ground, terrain.crs};
}

SurveyGround read_survey_ground(const GroundSource& source, const Observations& observations,
                                const Warn& warn) {
  Mesh mesh = read_mesh(source.mesh);
  check_widths(mesh);
  const Terrain terrain = terrain_of(source, mesh, warn);
  SurveyGround survey;
  survey.heights = heights_above(terrain, observations);
  survey.median_height = median(survey.heights);
  survey.crs = terrain.crs;
  CutGround below = ground_below(terrain, std::move(mesh), warn);
  survey.ground = std::move(below.ground);
  survey.cut = below.cut;
  if (source.knows_terrain()) {
    survey.gap = ground_gap(terrain, survey.ground, observations, survey.heights);
    if (survey.gap) warn_of_gap(*survey.gap, warn);
  }
  return survey;
}

}  // namespace quorivex
