// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/model/quantities.h"
#include "workbench/model/recipe_text.h"
#include "workbench/model/selection.h"

namespace quorivex {

/// A word that begins an operation.
struct OperationKind {
  std::string_view word;
  std::vector<std::string> keys;  ///< its own, besides quantities and limits
  Selection (*select)(const Operation& operation, const ModelSources& sources);
  bool faces_only = false;  ///< sets no quantity of cells
};

/// All of them: an operation is added here, and nowhere else.
const std::vector<OperationKind>& operation_kinds();

/// Checks words, keys and the numbers of quantities, before any file is read.
/// @throws StopRun naming the operation, with the nearest word that there is
void check_operation(const Operation& operation);

/// Values of a quantity after an operation, where the operation holds.
struct SetFacts {
  Quantity quantity = Quantity::initial;
  std::int64_t count = 0;    ///< of cells or faces
  std::int64_t changed = 0;  ///< of these, where the value is another than before
  double min = 0.0;
  double mean = 0.0;
  double max = 0.0;
};

struct OperationFacts {
  std::int64_t cells = 0;  ///< ground cells where it holds
  double volume = 0.0;     ///< theirs, cubic metres
  std::vector<SetFacts> set;
  std::vector<std::string> remarks;  ///< of the selection
};

/// Sets the quantities where the operation holds. `number` from 1 is noted as the setter.
/// A value of a face with two values of its cells is their mean.
/// @throws StopRun for what is wrong in the operation or in its files
OperationFacts apply_operation(const Operation& operation, std::int32_t number,
                               const ModelSources& sources, ModelQuantities& quantities);

}  // namespace quorivex
