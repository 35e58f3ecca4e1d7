// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/bounds.h"

#include <fmt/format.h>

#include "base/fixed_format.h"
#include "base/stop_run.h"

namespace quorivex {

void check_bound_order(const Bounds& bounds, const ActiveCells& active, View1<const double> wtz) {
  const View1<const double> lower(bounds.lower);
  const View1<const double> upper(bounds.upper);
  std::int64_t wrong = 1;
  while (wrong <= lower.size() && lower(wrong) < upper(wrong)) ++wrong;
  if (wrong > lower.size()) return;
  const View1<const std::int32_t> map(active.map);
  for_each_ground_cell(*active.ground, [&](const GridCell& at) {
    if (map(at.cell) != wrong) return;
    // A cell whose scale cannot be undone is reported with its scaled bounds.
    const double scale = wtz(at.below) > 0.0 ? wtz(at.below) : 1.0;
    stop_run(fmt::format("ERROR: Upper bound should be greater than lower: {}{}{}",
                         active.ground->slab.cells_before + at.cell,
                         sci(lower(wrong) / scale, 12, 4), sci(upper(wrong) / scale, 12, 4)));
  });
}

CellsAtBounds count_at_bounds(const RowPieces& rows, View1<const double> model,
                              const Bounds& bounds) {
  const View1<const double> lower(bounds.lower);
  const View1<const double> upper(bounds.upper);
  CellsAtBounds cells;
  for (std::int64_t i = rows.own_begin_entry() + 1; i <= rows.own_end_entry(); ++i) {
    if (lower(i) > model(i) || model(i) > upper(i)) {
      ++cells.outside;
    } else if (model(i) == lower(i) || model(i) == upper(i)) {
      ++cells.touching;
    }
  }
  return {sum_of_all(rows, cells.outside), sum_of_all(rows, cells.touching)};
}

void check_none_outside(const CellsAtBounds& cells, std::string_view label) {
  if (cells.outside == 0) return;
  stop_run(fmt::format("ERROR: number of cells in {} outside bounds: {}", label, cells.outside));
}

}  // namespace quorivex
