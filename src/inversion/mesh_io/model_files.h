// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"

namespace quorivex {

/// Fills an active vector from "VALUE c" or from a file with one line per cell of the whole mesh
/// (what follows the value on its line is ignored). `label` names the model in messages ("initial
/// model"). Returns the constant, nothing for a file.
/// @throws StopRun when the constant or the file cannot be read
std::optional<double> read_active_model(const std::string& source, std::string_view label,
                                        const ActiveCells& active, View1<double> model);

/// Fills the model of every cell of a ground from "VALUE c" or from a file with one value per cell,
/// any number to a line. Returns and throws as `read_active_model`.
std::optional<double> read_full_model(const std::string& source, std::string_view label,
                                      const Ground& ground, View1<double> full);

/// Multiplies the ground cells of a model by their scale.
/// @throws StopRun when `wtz` has not one entry per ground cell
void scale_active_model(const ActiveCells& active, View1<const double> wtz, View1<double> model);
void scale_full_model(const Ground& ground, View1<const double> wtz, View1<double> full);

/// Writes a model file: one value per line in cell order, divided by `wtz`; -100 in air.
void output_model(const std::string& name, View1<const double> model, View1<const double> wtz,
                  const ActiveCells& active, const FixedValues& fixed);

}  // namespace quorivex
