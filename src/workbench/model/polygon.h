// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/geometry/kd_tree.h"
#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

/// Corners of a ring, easting and northing; the last one is joined to the first.
using Ring = std::vector<MapPoint>;

/// Reads an outline: easting and northing per line, further columns ignored; a blank line, or one
/// that begins with >, ends a ring. Lines that begin with # or ! are comments.
/// @throws StopRun naming the line that is wrong, and for a ring of fewer than three corners;
///         file_not_found
std::vector<Ring> read_outline(const std::string& name);

/// polygon outline=FILE: inside an odd number of rings, so that a ring within a ring is a hole.
Selection select_polygon(const Operation& operation, const ModelSources& sources);

}  // namespace quorivex
