// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

/// easting, northing, elevation and depth: ranges that every operation may have.
const std::vector<std::string>& limit_keys();

/// Takes the cells out of a selection whose centres lie outside the operation's ranges; the ends
/// of a range are inside.
void apply_limits(const Operation& operation, const ModelCells& cells, Selection& selection);

/// box: everything within its ranges, of which it has one or more.
Selection select_box(const Operation& operation, const ModelSources& sources);

/// all: everything.
Selection select_all(const Operation& operation, const ModelSources& sources);

}  // namespace quorivex
