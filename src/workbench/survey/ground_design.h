// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/survey/mesh_design.h"
#include "workbench/terrain/ground_gap.h"
#include "workbench/terrain/survey_ground.h"

namespace quorivex {

/// A mesh for a survey, with the ground in it.
struct GroundDesign {
  MeshPlan plan;
  Ground ground;
  std::optional<SurveyTerrain> terrain;  ///< nothing on a level top
  std::string description;               ///< of the terrain
  std::optional<GroundGap> gap;
  std::vector<double> heights;  ///< of the stations above the terrain, metres; none on a level top
};

MeshPlan plan_of(const SurveyShape& shape, const MeshWishes& wishes,
                 const std::optional<SurveyTerrain>& terrain);

/// A mesh whose top is the ground, or which follows the terrain of the source. The clearance
/// decides how wide the cells are, and they where the mesh lies, for which the terrain is then
/// read.
/// @throws StopRun as read_terrain
GroundDesign design_ground(const GroundSource& source, const MeshWishes& wishes,
                           const Observations& data, const SurveyShape& shape, const Warn& warn);

}  // namespace quorivex
