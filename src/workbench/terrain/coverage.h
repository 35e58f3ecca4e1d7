// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

#include "inversion/mesh_io/mesh.h"
#include "workbench/geometry/map_box.h"

namespace quorivex {

/// Takes a sentence of warning, at once: what comes after it may end the command.
using Warn = std::function<void(const std::string& sentence)>;

MapBox box_of(const Mesh& mesh);

/// Warns of a terrain whose box holds less than 30 % of the mesh.
/// @throws StopRun "Error: Topography is outside the mesh."
void check_coverage(const MapBox& terrain, const Mesh& mesh, const Warn& warn);

}  // namespace quorivex
