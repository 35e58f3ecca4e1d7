// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/report.h"
#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"

namespace quorivex {

/// Scale of each cell below the column tops; without it models are not scaled.
using CellScale = std::optional<View1<const double>>;

/// Fills an active vector from "VALUE c" or from a file with one line a cell of the whole mesh
/// (what follows the value on its line is ignored), then multiplies it by `wtz`.
/// `label` names the model in messages ("initial model").
/// @throws StopRun when the constant or the file cannot be read, or `wtz` does not fit the mesh
void read_active_model(const std::string& source, std::string_view label, const ActiveCells& active,
                       CellScale wtz, View1<double> model, Report& report);

/// Fills a full model from "VALUE c" or from a file with one value a cell, any number to a line,
/// then multiplies the cells below the column tops by `wtz`.
void read_full_model(const std::string& source, std::string_view label, const ActiveCells& active,
                     CellScale wtz, View1<double> full, Report& report);

/// Writes the model file of an iteration: one value a line in cell order, divided by `wtz`; -100 in
/// air.
void output_model(std::string_view base, std::string_view extension, View1<const double> model,
                  std::int32_t iteration, View1<const double> wtz, const ActiveCells& active,
                  const FixedValues& fixed);

}  // namespace quorivex
