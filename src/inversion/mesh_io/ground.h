// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/ranks.h"
#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// A column of cells at row j and easting column i, both from 1.
struct GridColumn {
  std::int32_t i = 0;
  std::int32_t j = 0;
  std::int32_t top = 0;     ///< air cells at its top
  std::int64_t above = 0;   ///< cells of the mesh before its first cell
  std::int64_t before = 0;  ///< ground cells before it
};

/// Which rows of a survey a ground has: all of them, or those that a process owns and, to see their
/// neighbours, one more on each side.
struct Slab {
  ranks::Team team = ranks::Team::alone;  ///< all: the rows are divided among the processes
  std::int32_t own_first = 0;             ///< own rows, from 0 within this ground,
  std::int32_t own_end = 0;               ///< to before this one
  // Of the survey, and of what lies south of the first row here:
  std::int64_t rows = 0;
  std::int64_t rows_before = 0;
  std::int64_t cells = 0;
  std::int64_t cells_before = 0;
  std::int64_t ground_cells = 0;
  std::int64_t ground_cells_before = 0;
};

/// The mesh with its column tops. The cells below them are the ground cells, which are the columns
/// of a sensitivity matrix; those above are air.
struct Ground {
  Mesh mesh;
  ColumnTops tops;
  /// For each column in cell order (easting fastest) the number of ground cells before it; one
  /// entry more holds their total.
  std::vector<std::int64_t> before{0};
  Slab slab;

  std::int64_t cells() const { return before.back(); }
  std::int64_t air_cells() const { return mesh.cells() - cells(); }
  std::int64_t columns() const { return std::int64_t{mesh.nn} * mesh.ne; }
  std::int64_t cells_before(std::int32_t j, std::int32_t i) const {
    return before[as_size((j - std::int64_t{1}) * mesh.ne + i - 1)];
  }
  /// Elevation of the top of layer k; layer nz + 1 is the bottom of the mesh.
  double elevation(std::int32_t k) const { return mesh.z0 - mesh.depth_nodes[as_size(k - 1)]; }
  /// Column number 1 to columns() in cell order.
  GridColumn column(std::int64_t number) const;
  /// Elevation of the top of the highest ground cell of a column.
  double surface(std::int32_t j, std::int32_t i) const { return elevation(tops(j, i) + 1); }
};

/// One ground for all that is read and derived on it.
using SharedGround = std::shared_ptr<const Ground>;

/// The column tops lie from 0 to nz. @throws StopRun alloc_error(routine)
Ground make_ground(Mesh mesh, ColumnTops tops, std::string_view routine = "make_ground");
SharedGround share_ground(Mesh mesh, ColumnTops tops, std::string_view routine = "make_ground");

/// Of `rows` of a survey those that a process owns: as many processes have some as there are rows.
ranks::Share own_rows(std::int64_t rows, int process);

/// The rows `own` of a whole ground, with their neighbours; none where `own` is empty.
/// @throws StopRun alloc_error(routine)
SharedGround share_slab(const Ground& survey, const ranks::Share& own, std::string_view routine);

/// @throws StopRun when a cell width is not greater than 0
void check_widths(const Mesh& mesh);

/// @throws StopRun when every cell is air
void check_not_all_air(const Ground& ground);

/// A cell by its numbers and its place, all from 1.
struct GridCell {
  std::int64_t cell = 0;   ///< among all cells of the mesh
  std::int64_t below = 0;  ///< among the ground cells; 0 in air
  std::int32_t k = 0;      ///< layer
  std::int32_t i = 0;      ///< easting column
  std::int32_t j = 0;      ///< northing row

  bool air() const { return below == 0; }
};

/// Visits the columns in cell order (easting fastest): visit(const GridColumn&).
template <class Visit>
void for_each_column(const Ground& ground, Visit visit) {
  GridColumn column;
  std::size_t number = 0;
  for (column.j = 1; column.j <= ground.mesh.nn; ++column.j) {
    for (column.i = 1; column.i <= ground.mesh.ne; ++column.i, column.above += ground.mesh.nz) {
      column.top = ground.tops(column.j, column.i);
      column.before = ground.before[number++];
      visit(column);
    }
  }
}

/// Visits the cells of a column from layer `first` down: visit(const GridCell&).
template <class Visit>
void for_each_cell_of(const Ground& ground, const GridColumn& column, std::int32_t first,
                      Visit& visit) {
  for (std::int32_t k = first; k <= ground.mesh.nz; ++k) {
    visit(GridCell{.cell = column.above + k,
                   .below = k > column.top ? column.before + k - column.top : 0,
                   .k = k,
                   .i = column.i,
                   .j = column.j});
  }
}

/// Visits every cell in cell order: visit(const GridCell&).
template <class Visit>
void for_each_cell(const Ground& ground, Visit visit) {
  for_each_column(ground,
                  [&](const GridColumn& column) { for_each_cell_of(ground, column, 1, visit); });
}

/// Visits the ground cells in cell order: visit(const GridCell&).
template <class Visit>
void for_each_ground_cell(const Ground& ground, Visit visit) {
  for_each_column(ground, [&](const GridColumn& column) {
    for_each_cell_of(ground, column, column.top + 1, visit);
  });
}

}  // namespace quorivex
