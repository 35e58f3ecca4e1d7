// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/model/model_cells.h"
#include "workbench/model/quantities.h"
#include "workbench/model/recipe_text.h"

namespace quorivex {

/// What quorivex would refuse: a lower bound that is not below the upper one in an active cell, and
/// no active cell at all; a lower bound above the upper one anywhere.
/// @throws StopRun saying where, with both bounds and the operations that set them
void check_quantities(const ModelQuantities& quantities, const ModelCells& cells,
                      const std::vector<Operation>& operations);

/// Sentences on what spoils an inversion: active cells whose initial model lies outside the bounds
/// (quorivex stops there), or whose reference model does.
std::vector<std::string> bound_warnings(const ModelQuantities& quantities, const ModelCells& cells,
                                        const std::vector<Operation>& operations);

}  // namespace quorivex
