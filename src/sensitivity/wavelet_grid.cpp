// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/wavelet_grid.h"

#include <algorithm>

#include "base/stop_run.h"

namespace quorivex {
namespace {

/// Calls visit(cell, point), both from 1, for every cell of the mesh, on all threads.
template <class Visit>
void for_each_cell(const SensitivityState& sens, const ActiveCells& active, Visit visit) {
#pragma omp parallel for schedule(static) default(none) shared(sens, active, visit)
  for (std::int64_t j = 0; j < active.nn; ++j) {
    std::int64_t cell = j * active.ne * active.nz;
    for (std::int64_t i = 0; i < active.ne; ++i) {
      const std::int64_t above = (i + j * sens.nw2) * sens.nw1;
      for (std::int64_t k = 1; k <= active.nz; ++k) visit(++cell, above + k);
    }
  }
}

void set_to_zero(View1<double> grid) {
  constexpr std::int64_t kPiece = 1 << 16;
#pragma omp parallel for schedule(static) default(none) shared(grid)
  for (std::int64_t first = 0; first < grid.size(); first += kPiece) {
    std::fill_n(grid.data() + first, std::min(std::int64_t{kPiece}, grid.size() - first), 0.0);
  }
}

}  // namespace

void scatter_to_grid(const SensitivityState& sens, const ActiveCells& active, View1<const double> m,
                     View1<double> grid) {
  set_to_zero(grid);
  if (m.size() == active.ncell) {
    const View1<const std::int32_t> map(active.map);
    for_each_cell(sens, active, [&](std::int64_t cell, std::int64_t point) {
      if (map(cell) > 0) grid(point) = m(map(cell));
    });
    return;
  }
  require(m.size() == active.total_cells, "size(x) /= # of cells");
  for_each_cell(sens, active,
                [&](std::int64_t cell, std::int64_t point) { grid(point) = m(cell); });
}

void gather_from_grid(const SensitivityState& sens, const ActiveCells& active,
                      View1<const double> grid, View1<double> m) {
  const View1<const std::int32_t> map(active.map);
  for_each_cell(sens, active, [&](std::int64_t cell, std::int64_t point) {
    if (map(cell) > 0) m(map(cell)) = grid(point);
  });
}

}  // namespace quorivex
