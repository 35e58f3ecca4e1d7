// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/wavelet_grid.h"

#include <algorithm>

#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

/// Sets every point of the planes: value(cell), from 1, where there is a cell of an own row, and 0
/// in the padding.
template <class Value>
void fill_grid(const SensitivityState& sens, const Ground& ground, View1<double> grid,
               Value value) {
  const Mesh& mesh = ground.mesh;
  const Slab& slab = ground.slab;
  const std::int64_t planes = grid.size() / (std::int64_t{sens.nw1} * sens.nw2);
#pragma omp parallel for collapse(2) schedule(static) default(none) \
    shared(sens, mesh, slab, planes, grid, value)
  for (std::int64_t j = 0; j < planes; ++j) {
    for (std::int64_t i = 0; i < sens.nw2; ++i) {
      const std::int64_t row = slab.own_first + j;
      const bool column = row < slab.own_end && i < mesh.ne;
      const std::int64_t cells = (i + row * mesh.ne) * mesh.nz;
      double* line = grid.data() + (i + j * sens.nw2) * sens.nw1;
      std::int64_t k = 0;
      for (; column && k < mesh.nz; ++k) line[k] = value(cells + k + 1);
      std::fill(line + k, line + sens.nw1, 0.0);
    }
  }
}

}  // namespace

void scatter_to_grid(const SensitivityState& sens, const ActiveCells& active, View1<const double> m,
                     View1<double> grid) {
  const PhaseTimer timer(Phase::vectors);
  if (m.size() == active.ncell) {
    const View1<const std::int32_t> map(active.map);
    fill_grid(sens, *active.ground, grid,
              [&](std::int64_t cell) { return map(cell) > 0 ? m(map(cell)) : 0.0; });
    return;
  }
  require(m.size() == active.ground->mesh.cells(), "size(x) /= # of cells");
  fill_grid(sens, *active.ground, grid, [&](std::int64_t cell) { return m(cell); });
}

void gather_from_grid(const SensitivityState& sens, const ActiveCells& active,
                      View1<const double> grid, View1<double> m) {
  const PhaseTimer timer(Phase::vectors);
  const Mesh& mesh = active.ground->mesh;
  const Slab& slab = active.ground->slab;
  const View1<const std::int32_t> map(active.map);
  if (slab.own_end - slab.own_first < mesh.nn) std::fill(m.begin(), m.end(), 0.0);
  const std::int64_t rows = slab.own_end - slab.own_first;
#pragma omp parallel for collapse(2) schedule(static) default(none) \
    shared(sens, mesh, slab, rows, map, grid, m)
  for (std::int64_t j = 0; j < rows; ++j) {
    for (std::int64_t i = 0; i < mesh.ne; ++i) {
      const std::int64_t cells = (i + (slab.own_first + j) * mesh.ne) * mesh.nz;
      const double* line = grid.data() + (i + j * sens.nw2) * sens.nw1;
      for (std::int64_t k = 0; k < mesh.nz; ++k) {
        const std::int32_t entry = map(cells + k + 1);
        if (entry > 0) m(entry) = line[k];
      }
    }
  }
}

}  // namespace quorivex
