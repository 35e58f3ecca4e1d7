// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

/// depth_weight exponent=P offset=M: the value @ is (z + M)^-P with the depth z of a cell's centre
/// below the cells' ground, divided by the largest of them all. With P = 3 its square root is the
/// depth weighting of Li and Oldenburg (1996, Geophysics 61, 394-408), whose squares enter the
/// norm as these values do.
Selection select_depth_weight(const Operation& operation, const ModelSources& sources);

/// distance_weight exponent=P offset=M: the same with the distance to the nearest datum.
Selection select_distance_weight(const Operation& operation, const ModelSources& sources);

/// edges model=FILE jump=SI: the faces between ground cells whose values in a model file differ by
/// more than the jump.
Selection select_edges(const Operation& operation, const ModelSources& sources);

}  // namespace quorivex
