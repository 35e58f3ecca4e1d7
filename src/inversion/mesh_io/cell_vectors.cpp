// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/cell_vectors.h"

#include "base/stop_run.h"

namespace quorivex {

FixedValues split_reference(const ActiveCells& active, View1<const double> full) {
  FixedValues fixed;
  if (active.zero_cells == 0 && active.influence_cells == 0) return fixed;
  fixed.inactive = allocate<double>(as_size(active.zero_cells), "setup_models");
  fixed.influence = allocate<double>(as_size(active.influence_cells), "setup_models");
  const View1<const std::int32_t> map(active.map);
  const View1<double> inactive(fixed.inactive);
  const View1<double> influence(fixed.influence);
  std::int32_t zero = 0;
  for_each_cell(*active.ground, [&](const GridCell& at) {
    const std::int64_t entry = map(at.cell);
    if (entry == 0) {
      inactive(++zero) = at.air() ? 0.0 : full(at.cell);
    } else if (entry < 0) {
      influence(-entry) = full(at.cell);
    }
  });
  return fixed;
}

void full_to_active(const ActiveCells& active, View1<const double> full, View1<double> amodel) {
  require(amodel.size() == active.ncell, "size(amodel) /= ncell");
  const View1<const std::int32_t> map(active.map);
  for (std::int64_t cell = 1; cell <= map.size(); ++cell) {
    if (map(cell) > 0) amodel(map(cell)) = full(cell);
  }
}

void active_to_full(const ActiveCells& active, const FixedValues& fixed, View1<const double> amodel,
                    View1<double> full) {
  require(amodel.size() == active.ncell, "size(amodel) /= ncell");
  const View1<const std::int32_t> map(active.map);
  const View1<const double> inactive(fixed.inactive);
  const View1<const double> influence(fixed.influence);
  std::int32_t zero = 0;
  for (std::int64_t cell = 1; cell <= map.size(); ++cell) {
    const std::int64_t entry = map(cell);
    full(cell) = entry > 0 ? amodel(entry) : entry < 0 ? influence(-entry) : inactive(++zero);
  }
}

void full_to_below(const Ground& ground, View1<const double> full, View1<double> amodel) {
  require(amodel.size() == ground.cells(), "idx1 /= size(amodel)");
  for_each_ground_cell(ground, [&](const GridCell& at) { amodel(at.below) = full(at.cell); });
}

void below_to_active(const ActiveCells& active, View1<const double> m1, View1<double> m2) {
  require(m2.size() == active.ncell, "size(m2) /= ncell");
  require(m1.size() == active.ground->cells(), "idx1 /= size(m1)");
  const View1<const std::int32_t> map(active.map);
  for_each_ground_cell(*active.ground, [&](const GridCell& at) {
    if (map(at.cell) > 0) m2(map(at.cell)) = m1(at.below);
  });
}

void active_to_below(const ActiveCells& active, View1<const double> m2, View1<double> m1) {
  require(m2.size() == active.ncell, "size(m2) /= ncell");
  require(m1.size() == active.ground->cells(), "idx1 /= size(m1)");
  const View1<const std::int32_t> map(active.map);
  for_each_ground_cell(*active.ground, [&](const GridCell& at) {
    m1(at.below) = map(at.cell) > 0 ? m2(map(at.cell)) : 0.0;
  });
}

}  // namespace quorivex
