// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/bound_order.h"

#include <fmt/format.h>

#include "base/stop_run.h"

namespace quorivex {
namespace {

bool is_active(const ModelQuantities& quantities, std::int64_t below) {
  return quantities(Quantity::active, below) == 1.0;
}

/// "lower 0.02 (recipe.txt, line 3)".
std::string describe_value(const ModelQuantities& quantities, Quantity quantity, std::int64_t below,
                           const std::vector<Operation>& operations) {
  const std::int32_t setter = quantities.setter(quantity, below);
  return fmt::format("{} {} ({})", rule_of(quantity).name, quantities(quantity, below),
                     setter == 0 ? "as everywhere" : operations[as_size(setter - 1)].place);
}

bool in_order(const ModelQuantities& quantities, std::int64_t below) {
  const double lower = quantities(Quantity::lower, below);
  const double upper = quantities(Quantity::upper, below);
  return lower < upper || (lower == upper && !is_active(quantities, below));
}

/// Active cells outside the bounds: how many, the first of them, and what to do.
void warn_of_outside(const ModelQuantities& quantities, const ModelCells& cells,
                     const std::vector<Operation>& operations, Quantity quantity,
                     const char* remedy, std::vector<std::string>& warnings) {
  std::int64_t outside = 0;
  std::int64_t first = 0;
  for (std::int64_t below = 1; below <= cells.ground->cells(); ++below) {
    const double value = quantities(quantity, below);
    const bool inside =
        value >= quantities(Quantity::lower, below) && value <= quantities(Quantity::upper, below);
    if (inside || !is_active(quantities, below)) continue;
    if (outside++ == 0) first = below;
  }
  if (outside == 0) return;
  warnings.push_back(fmt::format(
      "the {} model lies outside the bounds in {} active cells, the first of them\n{}:\n{}, {}, "
      "{};\n{}",
      rule_of(quantity).name, outside, describe_cell(cells, first),
      describe_value(quantities, quantity, first, operations),
      describe_value(quantities, Quantity::lower, first, operations),
      describe_value(quantities, Quantity::upper, first, operations), remedy));
}

}  // namespace

void check_quantities(const ModelQuantities& quantities, const ModelCells& cells,
                      const std::vector<Operation>& operations) {
  bool any_active = false;
  std::int64_t wrong = 0;
  std::int64_t first = 0;
  for (std::int64_t below = 1; below <= cells.ground->cells(); ++below) {
    any_active = any_active || is_active(quantities, below);
    if (in_order(quantities, below)) continue;
    if (wrong++ == 0) first = below;
  }
  if (wrong > 0) {
    stop_run(fmt::format(
        " ERROR: the lower bound is not below the upper one in {} cells, the first of them\n {}:\n"
        " {}, {}.\n To fix a susceptibility, set it as reference, with active=0. Nothing was "
        "written.",
        wrong, describe_cell(cells, first),
        describe_value(quantities, Quantity::lower, first, operations),
        describe_value(quantities, Quantity::upper, first, operations)));
  }
  if (!any_active) stop_run(" ERROR: all cells are inactive. Nothing was written.");
}

std::vector<std::string> bound_warnings(const ModelQuantities& quantities, const ModelCells& cells,
                                        const std::vector<Operation>& operations) {
  std::vector<std::string> warnings;
  warn_of_outside(quantities, cells, operations, Quantity::initial,
                  "quorivex stops there. Set initial= too, such as initial=@reference or "
                  "initial=@lower",
                  warnings);
  warn_of_outside(quantities, cells, operations, Quantity::reference,
                  "the regularisation would pull the model out of the bounds", warnings);
  return warnings;
}

}  // namespace quorivex
