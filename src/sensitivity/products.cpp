// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/products.h"

#include "base/phase_times.h"
#include "base/stop_run.h"
#include "mesh_io/cell_vectors.h"
#include "sensitivity/full_sens_mod.h"
#include "sensitivity/sparse_sens_mod.h"
#include "sensitivity/wavelet_grid.h"
#include "sensitivity/wtn_mod.h"

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
    std::vector<double> grid = allocate<double>(as_size(sens.nwav), "gprod");
    scatter_to_grid(sens, active, m, grid);
    transform(sens, grid, 1);
    SPARSE_SENS_MOD::CALC_GV(sens, grid, d);
    return;
  }
  if (m.size() == sens.nsens) {
    FULL_SENS_MOD::CALC_FULL_GV(sens, m, d);
    return;
  }
  require(m.size() == active.total_cells, "problem in gprod");
  std::vector<double> below = allocate<double>(as_size(sens.nsens), "gprod");
  full_to_below(active, m, below);
  FULL_SENS_MOD::CALC_FULL_GV(sens, below, d);
}

void gtprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> d,
            View1<double> m) {
  if (sens.compressed) {
    std::vector<double> grid = allocate<double>(as_size(sens.nwav), "gtprod");
    SPARSE_SENS_MOD::CALC_GTV(sens, d, grid);
    transform(sens, grid, -1);
    gather_from_grid(sens, active, grid, m);
    return;
  }
  if (m.size() == sens.nsens) {
    FULL_SENS_MOD::CALC_FULL_GTV(sens, d, m);
    return;
  }
  std::vector<double> below = allocate<double>(as_size(sens.nsens), "gtprod");
  FULL_SENS_MOD::CALC_FULL_GTV(sens, d, below);
  below_to_active(active, below, m);
}

void gtgprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> m_in,
             View1<double> m_out) {
  if (sens.compressed) {
    std::vector<double> grid = allocate<double>(as_size(sens.nwav), "gtgprod");
    scatter_to_grid(sens, active, m_in, grid);
    transform(sens, grid, 1);
    SPARSE_SENS_MOD::CALC_GTGV(sens, grid);
    transform(sens, grid, -1);
    gather_from_grid(sens, active, grid, m_out);
    return;
  }
  if (m_in.size() == sens.nsens) {
    FULL_SENS_MOD::CALC_FULL_GTGV(sens, m_in, m_out);
    return;
  }
  std::vector<double> below_in = allocate<double>(as_size(sens.nsens), "gtgprod");
  std::vector<double> below_out = allocate<double>(as_size(sens.nsens), "gtgprod");
  active_to_below(active, m_in, below_in);
  FULL_SENS_MOD::CALC_FULL_GTGV(sens, below_in, below_out);
  below_to_active(active, below_out, m_out);
}

}  // namespace quorivex
