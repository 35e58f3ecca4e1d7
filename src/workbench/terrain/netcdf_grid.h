// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "workbench/terrain/terrain_grid.h"

namespace quorivex {

/// Reads the one variable over northing and easting of a netCDF file, as GMT and GDAL write them:
/// coordinates in metres at regular steps, either way; _FillValue and missing_value, scale_factor
/// and add_offset are honoured (https://cfconventions.org, CF-1.8).
/// @throws StopRun naming what is wrong; std::bad_alloc
TerrainGrid read_netcdf_grid(const std::string& name);

}  // namespace quorivex
