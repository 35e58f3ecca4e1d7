// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/row_sum.h"

namespace quorivex {

/// Which part each cell takes in the inversion.
struct ActiveCells {
  SharedGround ground;
  /// One entry per cell, in cell order: p > 0 is the cell's position in the active vectors; -q
  /// marks the q-th inactive cell with influence; 0 is air or an inactive cell without influence.
  std::vector<std::int32_t> map;
  std::int32_t ncell = 0;            ///< active cells
  std::int32_t zero_cells = 0;       ///< cells with entry 0, air included
  std::int32_t influence_cells = 0;  ///< cells with a negative entry
  RowPieces rows;                    ///< of the active cells

  /// The same three counts over all cells of the survey.
  struct Counts {
    std::int64_t active = 0;
    std::int64_t zero = 0;
    std::int64_t influence = 0;
  };
  Counts survey;
};

/// Reads the codes of the cells (1 active, 0 inactive, -1 inactive with influence) from the file
/// named by `source`, or takes all ground cells when it is null, and numbers the cells.
/// @throws StopRun for a file that is missing, too short, too long or has other codes
ActiveCells read_active_cells(const std::string& source, SharedGround ground);

/// @throws StopRun when no cell is active
void check_any_active(const ActiveCells& active);

/// Reads the codes, and checks that a cell is active.
ActiveCells get_active_cells(const std::string& source, SharedGround ground);

}  // namespace quorivex
