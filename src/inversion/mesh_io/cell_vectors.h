// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"

namespace quorivex {

// Three kinds of cell vectors: full (every cell of the mesh), below (the cells below the column
// tops) and active (ncell entries), each in cell order.

/// Reference-model values of the cells that are not active.
struct FixedValues {
  std::vector<double> inactive;   ///< one for each cell with map entry 0, air cells 0.0
  std::vector<double> influence;  ///< one for each cell with map entry -q, at q
};

/// Visits the cells below the column tops in cell order: visit(full index from 1).
template <class Visit>
void for_each_below(const ActiveCells& active, Visit visit) {
  for (std::int32_t j = 1; j <= active.nn; ++j) {
    for (std::int32_t i = 1; i <= active.ne; ++i) {
      const std::int64_t above = ((j - std::int64_t{1}) * active.ne + i - 1) * active.nz;
      for (std::int32_t k = active.tops(j, i) + 1; k <= active.nz; ++k) visit(above + k);
    }
  }
}

/// Splits off the values of the cells that are not active from a full reference model.
FixedValues split_reference(const ActiveCells& active, View1<const double> full);

void full_to_active(const ActiveCells& active, View1<const double> full, View1<double> amodel);
void active_to_full(const ActiveCells& active, const FixedValues& fixed, View1<const double> amodel,
                    View1<double> full);
void full_to_below(const ActiveCells& active, View1<const double> full, View1<double> amodel);
void below_to_active(const ActiveCells& active, View1<const double> m1, View1<double> m2);
/// Cells below the column tops that are not active become 0.
void active_to_below(const ActiveCells& active, View1<const double> m2, View1<double> m1);

}  // namespace quorivex
