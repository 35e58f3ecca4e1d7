// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/report.h"
#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// Which part each cell takes in the inversion.
struct ActiveCells {
  std::int32_t ne = 0;
  std::int32_t nn = 0;
  std::int32_t nz = 0;
  ColumnTops tops;
  /// One entry a cell, in cell order: p > 0 is the cell's position in the active vectors; -q marks
  /// the q-th inactive cell with influence; 0 is air or an inactive cell without influence.
  std::vector<std::int32_t> map;
  std::int32_t ncell = 0;            ///< active cells
  std::int32_t zero_cells = 0;       ///< cells with entry 0, air included
  std::int32_t influence_cells = 0;  ///< cells with a negative entry
  std::int32_t total_cells = 0;
  std::int32_t cells_below_topo = 0;
};

/// Reads the codes of the cells (1 active, 0 inactive, -1 inactive with influence) from the file
/// named by `source`, or takes all cells when it begins with "null" or "NULL"; builds the
/// map and logs the counts.
/// @throws StopRun for a file that is missing, too short, too long or has other codes, and when no
///         cell is active
ActiveCells get_active_cells(const std::string& source, const Mesh& mesh, const ColumnTops& tops,
                             Report& report);

}  // namespace quorivex
