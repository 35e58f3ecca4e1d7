// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/ranks.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/sensitivity/sparse_pieces.h"

namespace quorivex {

/// The pieces of a compressed matrix and their owners.
struct SparseShares {
  std::vector<SparsePiece> pieces;
  std::vector<std::int64_t> first_piece;  ///< of each process, and at the end their number

  ranks::Share pieces_of(int process) const;
  /// Blocks of which a process has coefficients, some of them perhaps not of all rows.
  ranks::Share blocks(int process) const;
  /// Blocks whose sums a process completes: those of which it has the first rows.
  ranks::Share home_blocks(int process) const;
  /// Whose home block the first one of a process is, or itself when it has none.
  int home_of_first(int process) const;
};

/// How the processes of a team share a matrix. Cell vectors belong to the rows of the mesh that a
/// process owns; columns of a full matrix, and blocks of a compressed one, are dealt otherwise.
struct MatrixPart {
  ranks::Team team = ranks::Team::alone;
  std::int64_t columns = 0;                ///< of the survey's matrix
  std::vector<std::int64_t> mesh_rows;     ///< before the own ones of each process, and all
  std::vector<std::int64_t> ground_cells;  ///< the same, in these rows
  SparseShares shares;                     ///< compressed form

  /// Ground cells in the own rows of a process, and columns of a full matrix that it has; both of
  /// the survey.
  ranks::Share own_cells(int process) const;
  ranks::Share own_columns(int process) const;

  /// Collective: from the own cells to the own columns of a full matrix, and back.
  void cells_to_columns(View1<const double> cells, View1<double> of_columns) const;
  void columns_to_cells(View1<const double> of_columns, View1<double> cells) const;
};

/// The part of this process, which is one of all.
MatrixPart part_of_all(const Ground& survey, std::int64_t columns);

}  // namespace quorivex
