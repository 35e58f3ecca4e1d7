// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

// Operations that bring the columns of tables and grids. @NAME is the column NAME, unless it is the
// name of another quantity than the one that is set; with unit= it is one of the table units=.
// columns=KIND:NAME,KIND:NAME has the names of geometry columns that are not the usual ones.

/// holes collars=FILE surveys=FILE intervals=FILE reach=METRES unit=NAME units=FILE missing=MARKS
/// columns=...: the intervals of drill holes.
Selection select_holes(const Operation& operation, const ModelSources& sources);

/// voxels file=FILE method=average|nearest unit=NAME units=FILE missing=MARKS columns=...: a table
/// or a netCDF file of boxes.
Selection select_voxels(const Operation& operation, const ModelSources& sources);

}  // namespace quorivex
