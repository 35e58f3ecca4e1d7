// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sparse_pieces.h"

#include <algorithm>

#include "base/view1.h"
#include "inversion/sensitivity/sparse_matrix.h"

namespace quorivex {
namespace {

constexpr std::int64_t kPieces = 64;

/// Appends the pieces of a block with more than `most` coefficients; `shares` counts those that
/// share theirs.
void cut_rows(const SparseMatrix& matrix, SparsePiece piece, std::int64_t most,
              std::int64_t& shares, std::vector<SparsePiece>& pieces) {
  std::int64_t sum = 0;
  for (const SparsePanel& panel : matrix.panels()) {
    const SparseCell cell = panel.cell(piece.first_block);
    for (const RowPiece* of_row = cell.first; of_row != cell.last; ++of_row) {
      const std::int64_t row = panel.rows_before + of_row->row;
      if (sum + of_row->count > most && row > piece.first_row) {
        piece.last_row = row;
        piece.share = shares++;
        pieces.push_back(piece);
        piece.first_row = row;
        sum = 0;
      }
      sum += of_row->count;
    }
  }
  piece.last_row = matrix.rows();
  if (piece.share >= 0) piece.share = shares++;
  pieces.push_back(piece);
}

}  // namespace

std::vector<SparsePiece> cut_into_pieces(const SparseMatrix& matrix) {
  const std::int64_t most = std::max(matrix.entries() / kPieces, matrix.block_points());
  std::vector<SparsePiece> pieces;
  std::int64_t column = 0;
  std::int64_t shares = 0;
  for (std::int64_t first = 0; first < matrix.blocks(); ++column) {
    std::int64_t last = first + 1;
    std::int64_t sum = matrix.entries(first);
    for (; last < matrix.blocks(); ++last) {
      const std::int64_t more = matrix.entries(last);
      if (sum + more > most) break;
      sum += more;
    }
    const SparsePiece whole{first, last, 0, matrix.rows(), column, -1};
    if (sum > most) {
      cut_rows(matrix, whole, most, shares, pieces);
    } else {
      pieces.push_back(whole);
    }
    first = last;
  }
  return pieces;
}

}  // namespace quorivex
