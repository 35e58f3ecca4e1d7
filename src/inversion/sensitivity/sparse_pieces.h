// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

namespace quorivex {

class SparseMatrix;

/// A part of a compressed matrix that one thread multiplies: from the first to before the last of
/// its blocks and of its rows, all from 0.
struct SparsePiece {
  std::int64_t first_block;
  std::int64_t last_block;
  std::int64_t first_row;
  std::int64_t last_row;
  std::int64_t column;  ///< which range of blocks, from 0
  std::int64_t share;   ///< its number, from 0, among those whose block is in several; -1: alone
};

/// Cuts a matrix into pieces that depend on its coefficients alone, column by column and row by
/// row: ranges of blocks with up to a 64th of all coefficients, and where a single block holds
/// more, ranges of its rows. At least as many coefficients go together as a block has points, since
/// adding up the pieces of a block costs as much.
std::vector<SparsePiece> cut_into_pieces(const SparseMatrix& matrix);

}  // namespace quorivex
