// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/products.h"

#include <algorithm>

#include "base/stop_run.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/sensitivity/full_sens_mod.h"
#include "inversion/sensitivity/sparse_sens_mod.h"
#include "inversion/sensitivity/wavelet_grid.h"

namespace quorivex {

namespace {

/// Of a team: own columns of a full matrix, which are other cells than those in the own rows.
struct OwnColumns {
  OwnColumns(const SensitivityState& sens, const ActiveCells& active)
      : part(sens.part),
        before(part.own_cells(ranks::rank()).begin - active.ground->slab.ground_cells_before),
        values(part.own_columns(ranks::rank()).size(), "gprod") {}

  std::int64_t own_cells() const { return part.own_cells(ranks::rank()).size(); }
  void take(View1<const double> below) {
    part.cells_to_columns({below.data() + before, own_cells()}, values.view());
  }
  /// Cells of neighbour rows become 0.
  void give(View1<double> below) {
    std::fill(below.begin(), below.end(), 0.0);
    part.columns_to_cells(values.view(), {below.data() + before, own_cells()});
  }

  const MatrixPart& part;
  std::int64_t before;  ///< ground cells here before the own rows
  UninitializedArray<double> values;
};

bool is_shared(const SensitivityState& sens) { return sens.part.team == ranks::Team::all; }

/// d = G x over the ground cells.
void full_gv(const SensitivityState& sens, const ActiveCells& active, View1<const double> x,
             View1<double> d) {
  if (!is_shared(sens)) return FULL_SENS_MOD::CALC_FULL_GV(sens, x, d);
  OwnColumns own(sens, active);
  own.take(x);
  FULL_SENS_MOD::CALC_FULL_GV(sens, own.values.view(), d);
}

/// x = G^T d
void full_gtv(const SensitivityState& sens, const ActiveCells& active, View1<const double> d,
              View1<double> x) {
  if (!is_shared(sens)) return FULL_SENS_MOD::CALC_FULL_GTV(sens, d, x);
  OwnColumns own(sens, active);
  FULL_SENS_MOD::CALC_FULL_GTV(sens, d, own.values.view());
  own.give(x);
}

/// y = G^T G x
void full_gtgv(const SensitivityState& sens, const ActiveCells& active, View1<const double> x,
               View1<double> y) {
  std::vector<double> d = allocate<double>(as_size(sens.ndata), "CALC_FULL_GTGV");
  full_gv(sens, active, x, d);
  full_gtv(sens, active, d, y);
}

}  // namespace

void gprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> m,
           View1<double> d) {
  if (sens.compressed) {
    GridWork grid(sens, "gprod");
    scatter_to_grid(sens, active, m, grid.cells());
    transform_to_blocks(sens, grid);
    SPARSE_SENS_MOD::CALC_GV(sens, grid.blocks(), d);
    return;
  }
  if (m.size() == sens.nsens) return full_gv(sens, active, m, d);
  require(m.size() == length(active.map), "problem in gprod");
  UninitializedArray<double> below(sens.nsens, "gprod");
  full_to_below(*active.ground, m, below.view());
  full_gv(sens, active, below.view(), d);
}

void gtprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> d,
            View1<double> m) {
  if (sens.compressed) {
    GridWork grid(sens, "gtprod");
    SPARSE_SENS_MOD::CALC_GTV(sens, d, grid.blocks());
    transform_to_cells(sens, grid);
    gather_from_grid(sens, active, grid.cells(), m);
    return;
  }
  if (m.size() == sens.nsens) return full_gtv(sens, active, d, m);
  UninitializedArray<double> below(sens.nsens, "gtprod");
  full_gtv(sens, active, d, below.view());
  below_to_active(active, below.view(), m);
}

GtgprodWork::GtgprodWork(const SensitivityState& sens, const ActiveCells& active) {
  constexpr const char* label = "gtgprod";
  if (sens.compressed) {
    grid = {sens, label};
  } else if (active.ncell != sens.nsens) {
    below_in = {sens.nsens, label};
    below_out = {sens.nsens, label};
  }
}

void gtgprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> m_in,
             View1<double> m_out, GtgprodWork& work) {
  if (sens.compressed) {
    scatter_to_grid(sens, active, m_in, work.grid.cells());
    transform_to_blocks(sens, work.grid);
    SPARSE_SENS_MOD::CALC_GTGV(sens, work.grid.blocks());
    transform_to_cells(sens, work.grid);
    gather_from_grid(sens, active, work.grid.cells(), m_out);
    return;
  }
  if (m_in.size() == sens.nsens) return full_gtgv(sens, active, m_in, m_out);
  active_to_below(active, m_in, work.below_in.view());
  full_gtgv(sens, active, work.below_in.view(), work.below_out.view());
  below_to_active(active, work.below_out.view(), m_out);
}

}  // namespace quorivex
