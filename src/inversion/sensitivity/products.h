// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/uninitialized_array.h"
#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/sensitivity/grid_work.h"
#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {

// Products of the sensitivity matrix with vectors, whatever form the matrix has: full, or
// compressed as G = S W with sparse rows S and the wavelet transform W. Results are in the
// normalised form of the data (divided by the standard deviations).

/// d = G m; m has one entry per cell of the mesh; or per sensitivity cell (full form), per active
/// cell (compressed form).
/// @throws StopRun "problem in gprod" or "size(x) /= # of cells" for any other length
void gprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> m,
           View1<double> d);

/// m = G^T d; m is an active vector or (full form) has one entry per sensitivity cell.
void gtprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> d,
            View1<double> m);

/// Vectors between the steps of `gtgprod`. It is called in every iteration of a solver, and fresh
/// memory costs more than filling it.
struct GtgprodWork {
  /// @throws StopRun alloc_error("gtgprod")
  GtgprodWork(const SensitivityState& sens, const ActiveCells& active);

  GridWork grid;                        ///< compressed form
  UninitializedArray<double> below_in;  ///< full form where some sensitivity cells are not active
  UninitializedArray<double> below_out;
};

/// m_out = G^T G m_in, both active or (full form) both with one entry per sensitivity cell.
void gtgprod(const SensitivityState& sens, const ActiveCells& active, View1<const double> m_in,
             View1<double> m_out, GtgprodWork& work);

}  // namespace quorivex
