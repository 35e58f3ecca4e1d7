// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "workbench/terrain/surface_points.h"

namespace quorivex {

/// Whether a file is a plain list of points: its first line, comments (! or #) and blank lines
/// aside, begins with three numbers, or is a heading of words before such a line. A line with one
/// number is the count of a topography file instead.
bool is_plain_points(const std::string& name);

/// Reads a plain list of points: easting, northing and elevation per line, or in the columns that a
/// heading names so or x, y and z, separated by blanks, commas, semicolons or tabs. What follows
/// them on a line is not read.
/// @throws StopRun naming the line that is wrong, and for longitudes and latitudes in degrees;
///         file_not_found
SurfacePoints read_plain_points(const std::string& name);

}  // namespace quorivex
