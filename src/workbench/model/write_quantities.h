// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/model/model_cells.h"
#include "workbench/model/quantities.h"

namespace quorivex {

/// A file to be written. Of the weights it is that of `smallness`, which all four share.
struct QuantityFile {
  Quantity quantity = Quantity::initial;
  std::string name;
};

/// Writes all files, or none: models with one value per line and -100 in air, active codes with 0
/// there, and weights as the four arrays S, E, N and Z with 1 there and on its faces.
/// @throws StopRun as AtomicFile
void write_quantities(const std::vector<QuantityFile>& files, const ModelQuantities& quantities,
                      const ModelCells& cells);

/// The quantity of every cell of the mesh, NaN in air. Of faces a cell has the mean of its own
/// ones across the axis.
std::vector<double> values_of_cells(Quantity quantity, const ModelQuantities& quantities,
                                    const ModelCells& cells);

}  // namespace quorivex
