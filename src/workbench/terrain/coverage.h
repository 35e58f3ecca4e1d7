// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "inversion/mesh_io/mesh.h"
#include "workbench/geometry/map_box.h"

namespace quorivex {

MapBox box_of(const Mesh& mesh);

/// Warns, with a sentence each, of a terrain whose box holds less than 30 % of the mesh.
/// @throws StopRun "Error: Topography is outside the mesh."
std::vector<std::string> check_coverage(const MapBox& terrain, const Mesh& mesh);

}  // namespace quorivex
