// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "workbench/terrain/terrain_grid.h"

namespace quorivex {

/// Reads a grid of elevations (m) over northing and easting with GDAL, in a process of its own.
/// Nothing for a file that GDAL does not know.
/// @throws StopRun naming what is wrong with a file that it does know; std::bad_alloc
std::optional<TerrainGrid> read_gdal_grid(const std::string& name);

/// Loads GDAL into this process, from which those of many grids then have it at once (fuzzing).
void preload_gdal();

}  // namespace quorivex
