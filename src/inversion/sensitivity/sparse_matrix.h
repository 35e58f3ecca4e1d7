// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/uninitialized_array.h"
#include "base/view1.h"
#include "inversion/sensitivity/sparse_pieces.h"
#include "inversion/sensitivity/sparse_rows.h"

namespace quorivex {

/// Some coefficients of one row in one block, at least one.
struct RowPiece {
  std::uint16_t row;  ///< from 0, within the panel
  std::uint16_t count;
};

/// The coefficients of some consecutive rows of a panel in one block, row after row. The memory
/// behind the last can be read for another `kReadBeyond` of them.
struct SparseCell {
  static constexpr std::int64_t kReadBeyond = 8;

  const RowPiece* first;
  const RowPiece* last;            ///< one past the last
  const std::uint16_t* positions;  ///< from 0, within the block
  const float* values;
};

/// Consecutive rows cut by grid position: block by block, and in a block row after row, the
/// coefficients whose positions fall into the block's range of points.
struct SparsePanel {
  std::int64_t rows_before = 0;
  std::int64_t rows = 0;
  UninitializedArray<std::uint16_t> positions;  ///< as in SparseCell, with what is read beyond
  UninitializedArray<float> values;
  UninitializedArray<RowPiece> pieces;
  std::vector<std::int64_t> starts;        ///< blocks + 1: where each block begins in the arrays
  std::vector<std::int64_t> piece_starts;  ///< blocks + 1: and in the pieces

  std::int64_t entries() const { return starts.back(); }
  std::int64_t entries(std::int64_t block) const {
    return starts[as_size(block + 1)] - starts[as_size(block)];
  }
  SparseCell cell(std::int64_t block) const {
    return {pieces.data() + piece_starts[as_size(block)],
            pieces.data() + piece_starts[as_size(block + 1)],
            positions.data() + starts[as_size(block)], values.data() + starts[as_size(block)]};
  }
};

/// The rows of a cell from `first` to before `last`, from 0 in the panel.
SparseCell rows_of(SparseCell cell, std::int64_t first, std::int64_t last);

/// The sparse rows of a compressed matrix in panels. The products go over it block by block, so
/// that the piece of the grid in use stays in a core's first-level cache. 6 bytes per coefficient
/// and 4 per row and block. Within a row and block the positions rise, whatever their order was.
class SparseMatrix {
 public:
  SparseMatrix() = default;
  /// A matrix over a grid of so many points that is to have so many rows and, about, coefficients.
  /// @throws StopRun alloc_error("getpar Gs") when its counts alone exceed the memory
  SparseMatrix(std::int64_t points, std::int64_t rows, std::int64_t entries);

  /// Memory that such a matrix takes at most once all its rows are there.
  static std::int64_t bytes_for(std::int64_t points, std::int64_t rows, std::int64_t entries);

  static constexpr std::int64_t kMaxRows = 65536;  ///< of a panel
  /// Appends at most so many rows. Positions lie from 1 to the number of points; a row whose
  /// positions do not rise is sorted in place first. Memory beyond the matrix: 12 bytes per block
  /// and row of these, and where rows are to be sorted a copy of the longest for each thread that
  /// sorts.
  /// @throws StopRun alloc_error("getpar Gs")
  void append(SparseRows& rows);

  std::int64_t rows() const;
  std::int64_t entries() const;
  std::int64_t entries(std::int64_t block) const;

  struct RowStatistics {
    std::int64_t entries = 0;
    bool finite = true;  ///< all its values
  };
  std::vector<RowStatistics> row_statistics() const;

  std::int64_t blocks() const { return blocks_; }
  std::int64_t block_points() const { return std::int64_t{1} << block_bits_; }
  const std::vector<SparsePanel>& panels() const { return panels_; }
  const std::vector<SparsePiece>& pieces() const { return pieces_; }

 private:
  int block_bits_ = 0;
  std::int64_t blocks_ = 0;
  std::vector<SparsePanel> panels_;
  std::vector<SparsePiece> pieces_;  // of the rows that are there
};

}  // namespace quorivex
