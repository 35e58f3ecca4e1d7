// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "workbench/terrain/terrain_grid.h"

namespace quorivex {

/// read(name) in a process of its own, so that a fault of a library on a damaged file ends that
/// process alone. `read` prints nothing.
/// @throws StopRun and std::bad_alloc as `read`; StopRun as bad_netcdf where its process fails
TerrainGrid grid_from_child(const std::string& name, TerrainGrid (*read)(const std::string& name));

}  // namespace quorivex
