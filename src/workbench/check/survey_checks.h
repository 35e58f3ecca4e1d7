// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Sentences about a field or data in tesla, and about a field unlike the Earth's.
std::vector<std::string> unit_hints(const Observations& observations);

/// Says what the observations hold, and warns of units, directions and standard deviations that can
/// hardly be meant.
void check_survey(const Observations& observations, Findings& findings);

/// Warns of stations beside the mesh or below the ground, which is the top of the highest cell that
/// is no air.
void check_stations(const Observations& observations, const Mesh& mesh, const ColumnTops& tops,
                    Findings& findings);

}  // namespace quorivex
