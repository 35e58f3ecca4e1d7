// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/coordinates/crs.h"
#include "workbench/terrain/ground_gap.h"
#include "workbench/terrain/terrain.h"
#include "workbench/terrain/terrain_tops.h"

namespace quorivex {

/// The mesh file and the terrain in it: a file, one elevation for all, or the top of the mesh.
struct GroundSource {
  std::string mesh;
  std::string topography;
  std::optional<double> elevation;
  CrsSource crs = {};  ///< of what stands on the ground, where it is known

  bool knows_terrain() const { return !topography.empty() || elevation; }
};

/// The ground below a survey.
struct SurveyGround {
  Ground ground;
  std::vector<double> heights;  ///< of the stations above the terrain, metres
  double median_height = 0.0;
  TerrainCut cut;
  std::optional<GroundGap> gap;  ///< nothing where the top of the mesh is the terrain
  std::string crs = {};          ///< of the source or its terrain; empty where none is known
};

/// The terrain of a source, at the top of the mesh where the source names none. Its coordinate
/// system is that of both.
/// @throws StopRun as read_terrain, whose warnings it gives, and for two coordinate systems
Terrain terrain_of(const GroundSource& source, const Mesh& mesh, const Warn& warn);

/// Of the stations above the terrain, metres.
/// @throws StopRun for a station where the terrain has no elevation
std::vector<double> heights_above(const Terrain& terrain, const Observations& observations);

/// Warns of a terrain that does not fit the mesh: of columns outside the terrain when they are more
/// than 1 %, and of columns that the mesh top cuts off.
void warn_of_misfit(const Terrain& terrain, const TerrainTops& found, const Mesh& mesh,
                    const Warn& warn);

/// @throws StopRun as the readers of mesh and terrain, for a station or a column where the terrain
///         has no elevation, and when no cell lies below the terrain
SurveyGround read_survey_ground(const GroundSource& source, const Observations& observations,
                                const Warn& warn);

/// The ground of a source without a survey.
struct TerrainGround {
  Ground ground;
  std::string crs;  ///< of the source or its terrain; empty where none is known
};

/// Throws and warns as read_survey_ground.
TerrainGround read_terrain_ground(const GroundSource& source, const Warn& warn);

}  // namespace quorivex
