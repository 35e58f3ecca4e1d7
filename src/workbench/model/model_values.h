// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

/// The values of the ground cells in a model file of the mesh; NaN where it has the mark of air.
/// @throws StopRun as read_full_model, naming the operation
std::vector<double> read_model_values(const Operation& operation, const std::string& name,
                                      const Ground& ground);

/// file name=FILE: the values of a model file as @, where it has no air.
Selection select_file(const Operation& operation, const ModelSources& sources);

}  // namespace quorivex
