// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/ground_design.h"

#include <utility>

#include "base/statistics.h"

namespace quorivex {
namespace {

/// The terrain as it is read without a mesh.
Terrain whole_terrain(const GroundSource& source) {
  return source.elevation ? level_terrain(*source.elevation) : read_terrain(source.topography);
}

GroundDesign design_on_level_top(const SurveyShape& shape, const MeshWishes& wishes) {
  GroundDesign made;
  made.plan = plan_mesh(shape, wishes);
  Mesh mesh = design_mesh(shape, made.plan);
  ColumnTops tops = column_tops_of_terrain(mesh, level_terrain(mesh.z0)).tops;
  made.ground = make_ground(std::move(mesh), std::move(tops));
  return made;
}

}  // namespace

MeshPlan plan_of(const SurveyShape& shape, const MeshWishes& wishes,
                 const std::optional<SurveyTerrain>& terrain) {
  if (!terrain) return plan_mesh(shape, wishes);
  return plan_under_terrain(plan_mesh(shape, wishes, terrain->clearance), wishes, *terrain);
}

GroundDesign design_ground(const GroundSource& source, const MeshWishes& wishes,
                           const Observations& data, const SurveyShape& shape, const Warn& warn) {
  if (!source.knows_terrain()) return design_on_level_top(shape, wishes);
  const double clearance = median(heights_above(whole_terrain(source), data));
  const Mesh place = design_mesh(shape, plan_mesh(shape, wishes, clearance));
  const Terrain terrain = terrain_of(source, place, warn);
  GroundDesign made;
  made.heights = heights_above(terrain, data);
  made.terrain = survey_terrain(terrain, place, data, made.heights);
  made.description = terrain.description;
  made.plan = plan_of(shape, wishes, made.terrain);
  Mesh mesh = design_mesh(shape, made.plan);
  TerrainTops found = column_tops_of_terrain(mesh, terrain);
  warn_of_misfit(terrain, found, mesh, warn);
  made.ground = make_ground(std::move(mesh), std::move(found.tops));
  made.gap = ground_gap(terrain, made.ground, data, made.heights);
  if (made.gap) warn_of_gap(*made.gap, warn);
  return made;
}

}  // namespace quorivex
