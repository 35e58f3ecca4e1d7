// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/products.h"

#include "base/phase_times.h"
#include "base/stop_run.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/sensitivity/full_sens_mod.h"
#include "inversion/sensitivity/sparse_sens_mod.h"
#include "inversion/sensitivity/wavelet_grid.h"
#include "inversion/sensitivity/wtn_mod.h"

namespace quorivex {

namespace {

void transform(const SensitivityState& sens, View1<double> grid, int isign) {
  const PhaseTimer timer(Phase::transform);
  WTN_MOD::WTN(sens.filter, grid, sens.grid_counts(), isign);
}

}  // namespace

void gprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> m,
           View1<double> d) {
  if (sens.compressed) {
    UninitializedArray<double> grid(sens.nwav, "gprod");
    scatter_to_grid(sens, active, m, grid.view());
    transform(sens, grid.view(), 1);
    SPARSE_SENS_MOD::CALC_GV(sens, grid.view(), d);
    return;
  }
  if (m.size() == sens.nsens) {
    FULL_SENS_MOD::CALC_FULL_GV(sens, m, d);
    return;
  }
  require(m.size() == length(active.map), "problem in gprod");
  UninitializedArray<double> below(sens.nsens, "gprod");
  full_to_below(*active.ground, m, below.view());
  FULL_SENS_MOD::CALC_FULL_GV(sens, below.view(), d);
}

void gtprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> d,
            View1<double> m) {
  if (sens.compressed) {
    UninitializedArray<double> grid(sens.nwav, "gtprod");
    SPARSE_SENS_MOD::CALC_GTV(sens, d, grid.view());
    transform(sens, grid.view(), -1);
    gather_from_grid(sens, active, grid.view(), m);
    return;
  }
  if (m.size() == sens.nsens) {
    FULL_SENS_MOD::CALC_FULL_GTV(sens, d, m);
    return;
  }
  UninitializedArray<double> below(sens.nsens, "gtprod");
  FULL_SENS_MOD::CALC_FULL_GTV(sens, d, below.view());
  below_to_active(active, below.view(), m);
}

GtgprodWork::GtgprodWork(const SensitivityState& sens, const ActiveCells& active) {
  constexpr const char* kRoutine = "gtgprod";
  if (sens.compressed) {
    grid = {sens.nwav, kRoutine};
  } else if (active.ncell != sens.nsens) {
    below_in = {sens.nsens, kRoutine};
    below_out = {sens.nsens, kRoutine};
  }
}

void gtgprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> m_in,
             View1<double> m_out, GtgprodWork& work) {
  if (sens.compressed) {
    scatter_to_grid(sens, active, m_in, work.grid.view());
    transform(sens, work.grid.view(), 1);
    SPARSE_SENS_MOD::CALC_GTGV(sens, work.grid.view());
    transform(sens, work.grid.view(), -1);
    gather_from_grid(sens, active, work.grid.view(), m_out);
    return;
  }
  if (m_in.size() == sens.nsens) {
    FULL_SENS_MOD::CALC_FULL_GTGV(sens, m_in, m_out);
    return;
  }
  active_to_below(active, m_in, work.below_in.view());
  FULL_SENS_MOD::CALC_FULL_GTGV(sens, work.below_in.view(), work.below_out.view());
  below_to_active(active, work.below_out.view(), m_out);
}

}  // namespace quorivex
