// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "base/text_file.h"
#include "workbench/terrain/terrain_grid.h"

namespace quorivex {

/// Reads an ESRI ASCII grid: lines of a word and a number (ncols, nrows, xllcorner or xllcenter,
/// yllcorner or yllcenter, cellsize, NODATA_value), then the elevations from north-west to
/// south-east.
/// @throws StopRun naming what is wrong; std::bad_alloc
TerrainGrid read_ascii_grid(const std::string& name, TextFile& file);

}  // namespace quorivex
