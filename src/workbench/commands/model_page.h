// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/model/write_quantities.h"
#include "workbench/page/write_models_page.h"

namespace quorivex {

/// Model files of the cells, as `--show` names them. The mark of air is no value.
/// @throws StopRun as read_full_model, and for a file without a value in the ground
std::vector<ShownModel> read_shown_models(const std::vector<std::string>& names,
                                          const Ground& ground);

/// A quantity that operations set, with the file that holds it.
ShownModel shown_quantity(const QuantityFile& file, const ModelQuantities& quantities,
                          const ModelCells& cells);

/// Writes the page and says so; warns where it is larger than a page should be.
void write_and_tell(const ModelsPage& page, const std::string& output);

}  // namespace quorivex
