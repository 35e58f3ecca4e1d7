// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// The mesh with the cells that lie below its column tops, the columns of a sensitivity matrix.
struct Ground {
  Mesh mesh;
  ColumnTops tops;
  /// For each column in cell order (easting fastest) the number of ground cells before it; one
  /// entry more holds their total.
  std::vector<std::int64_t> before;

  std::int64_t cells() const { return before.back(); }
  std::int64_t cells_before(std::int32_t j, std::int32_t i) const {
    return before[as_size((j - std::int64_t{1}) * mesh.ne + i - 1)];
  }
  /// Elevation of the top of layer k; layer nz + 1 is the bottom of the mesh.
  double elevation(std::int32_t k) const { return mesh.z0 - mesh.depth_nodes[as_size(k - 1)]; }
};

/// @throws StopRun when a cell width is not greater than 0
void check_widths(const Mesh& mesh);

/// @throws StopRun when every cell is air; `mesh` has passed check_widths
Ground make_ground(Mesh mesh, ColumnTops tops);

/// Visits the ground cells in cell order: visit(k, i, j).
template <class Visit>
void for_each_ground_cell(const Ground& ground, Visit visit) {
  for (std::int32_t j = 1; j <= ground.mesh.nn; ++j) {
    for (std::int32_t i = 1; i <= ground.mesh.ne; ++i) {
      for (std::int32_t k = ground.tops(j, i) + 1; k <= ground.mesh.nz; ++k) visit(k, i, j);
    }
  }
}

}  // namespace quorivex
