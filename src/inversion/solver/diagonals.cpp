// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/solver/diagonals.h"

#include "base/stop_run.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/objective/calc_wtw_mod.h"

namespace quorivex {

Diagonals calc_diagonals(View1<const double> gdiag, View1<const double> std,
                         const ActiveCells& active, const WeightingOperators& operators) {
  constexpr const char* kRoutine = "calc_diagonals";
  Diagonals d;
  d.wdiag = allocate<double>(as_size(active.ncell), kRoutine);
  d.model_trace = CALC_WTW_MOD::calc_WTW_diagonal(operators, d.wdiag);
  require(gdiag.size() >= active.ncell, "size(gdiag) < ncell");
  d.gdiag = allocate<double>(as_size(active.ncell), kRoutine);
  below_to_active(active, gdiag, d.gdiag);
  double inverse_sum = 0.0;
  for (const double deviation : std) inverse_sum += 1.0 / deviation;
  const double c = inverse_sum / static_cast<double>(std.size());
  d.data_trace = row_sum<double>(active.rows, kRoutine, [&](std::int64_t first, std::int64_t last) {
    double sum = 0.0;
    for (auto i = as_size(first); i < as_size(last); ++i) {
      d.gdiag[i] *= c * c;
      sum += d.gdiag[i];
    }
    return sum;
  });
  return d;
}

}  // namespace quorivex
