// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <numeric>
#include <vector>

#include "base/uninitialized_array.h"
#include "base/view1.h"
#include "inversion/sensitivity/sparse_rows.h"

namespace quorivex {

/// A row's coefficients in one block: values with their positions, from 0, within the block.
struct RowPiece {
  const std::uint16_t* positions;
  const float* values;
  std::uint32_t count;
};

/// Consecutive rows cut by grid position: block by block, and in a block row after row, the
/// coefficients whose positions fall into the block's range of points.
struct SparsePanel {
  std::int64_t rows_before = 0;
  std::int64_t rows = 0;
  UninitializedArray<std::uint16_t> positions;  ///< from 0, within the block
  UninitializedArray<float> values;
  std::vector<std::uint32_t> counts;  ///< rows x blocks: coefficients of a row in a block
  std::vector<std::int64_t> starts;   ///< blocks + 1: where each block begins in the arrays

  /// Index of a row and block in `counts`, all from 0.
  std::size_t at(std::int64_t row, std::int64_t block) const { return as_size(block * rows + row); }
  /// Calls visit(row, piece) for the rows from `first` to before `last`, in order.
  template <class Visit>
  void for_each_piece(std::int64_t block, std::int64_t first, std::int64_t last,
                      Visit visit) const {
    const std::uint32_t* const of_row = counts.data() + at(0, block);
    const std::int64_t start = std::accumulate(of_row, of_row + first, starts[as_size(block)]);
    RowPiece piece{positions.data() + start, values.data() + start, 0};
    for (std::int64_t row = first; row < last; ++row) {
      piece.count = of_row[row];
      visit(row, piece);
      piece.positions += piece.count;
      piece.values += piece.count;
    }
  }
};

/// The sparse rows of a compressed matrix in panels. The products go over it block by block, so
/// that the piece of the grid in use stays in a core's own cache. 6 bytes per coefficient and 4 per
/// row and block. Within a row and block the positions rise, whatever their order was.
class SparseMatrix {
 public:
  SparseMatrix() = default;
  /// A matrix over a grid of so many points that is to have so many rows and, about, coefficients.
  /// @throws StopRun alloc_error("getpar Gs") when its counts alone exceed the memory
  SparseMatrix(std::int64_t points, std::int64_t rows, std::int64_t entries);

  /// Memory that such a matrix takes once all its rows are there.
  static std::int64_t bytes_for(std::int64_t points, std::int64_t rows, std::int64_t entries);

  /// Appends rows. Positions lie from 1 to the number of points; a row whose positions do not rise
  /// is sorted in place first. Memory beyond the matrix: 8 bytes per block and row of these, and
  /// where rows are to be sorted a copy of the longest for each thread that sorts.
  /// @throws StopRun alloc_error("getpar Gs")
  void append(SparseRows& rows);

  std::int64_t rows() const;
  std::int64_t entries() const;

  struct RowStatistics {
    std::int64_t entries = 0;
    bool finite = true;  ///< all its values
  };
  std::vector<RowStatistics> row_statistics() const;

  std::int64_t blocks() const { return blocks_; }
  std::int64_t block_points() const { return std::int64_t{1} << block_bits_; }
  const std::vector<SparsePanel>& panels() const { return panels_; }
  /// The first row, from 0, of each of `parts` ranges of about the same number of coefficients, and
  /// the number of rows at the end.
  std::vector<std::int64_t> balanced_row_ranges(int parts) const;

 private:
  int block_bits_ = 0;
  std::int64_t blocks_ = 0;
  std::vector<SparsePanel> panels_;
  std::vector<std::int64_t> row_entries_;  // of each row
};

}  // namespace quorivex
