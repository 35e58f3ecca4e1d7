// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/terrain/terrain.h"

namespace quorivex {

/// How far the cells' ground, the tops of the highest ground cells, lies from the terrain; metres.
struct GroundGap {
  double median = 0.0;  ///< of the terrain above the cells' ground, over the columns of the survey
  double p95 = 0.0;     ///< 95 % of these columns have at most this
  double height = 0.0;  ///< median of the stations above the terrain
  double height_above_cells = 0.0;  ///< likewise above the cells' ground
};

/// The terrain of the columns (mean_elevation) below the smallest rectangle that holds all
/// stations; none where it lies beside the mesh. Row by row from the south, west to east.
std::vector<double> terrain_of_columns(const Terrain& terrain, const Mesh& mesh,
                                       const Observations& stations);

/// Nothing where no station lies above the mesh.
/// @param heights  of the stations above the terrain
std::optional<GroundGap> ground_gap(const Terrain& terrain, const Ground& ground,
                                    const Observations& stations,
                                    const std::vector<double>& heights);

/// "26 m below the terrain (median), 40 m (95th percentile); stations 66 m above it instead of
/// 40 m", with `line_end` before the stations.
std::string describe_gap(const GroundGap& gap, std::string_view line_end = " ");

/// Warns of a gap of more than a third of the height of the stations above the terrain, unless most
/// of them lie below it, as in boreholes.
void warn_of_gap(const GroundGap& gap, const Warn& warn);

}  // namespace quorivex
