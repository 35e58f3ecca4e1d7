// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

// A surface is an elevation, or a file of points or a grid as a terrain is (read_terrain). It holds
// at the centre of each column. A cell whose centre lies on it is above it.

/// above surface=FILE|ELEVATION.
Selection select_above(const Operation& operation, const ModelSources& sources);

/// below surface=FILE|ELEVATION.
Selection select_below(const Operation& operation, const ModelSources& sources);

/// between top=FILE|ELEVATION base=FILE|ELEVATION; nothing where the top lies below the base.
Selection select_between(const Operation& operation, const ModelSources& sources);

}  // namespace quorivex
