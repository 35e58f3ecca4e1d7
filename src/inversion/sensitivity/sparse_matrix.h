// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/ranks.h"
#include "base/uninitialized_array.h"
#include "base/view1.h"
#include "inversion/sensitivity/sparse_pieces.h"
#include "inversion/sensitivity/sparse_rows.h"

namespace quorivex {

/// How the points of a wavelet grid are divided: blocks of a power of two, the last one perhaps
/// with fewer.
struct SparseBlocks {
  SparseBlocks() = default;
  /// For a matrix of so many rows and, about, coefficients.
  SparseBlocks(std::int64_t points, std::int64_t rows, std::int64_t entries);

  std::int64_t points() const { return std::int64_t{1} << bits; }
  /// The block, from 0, of a position, from 1.
  std::int64_t of(std::int32_t position) const { return std::int64_t{position - 1} >> bits; }

  int bits = 0;
  std::int64_t count = 0;
};

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

/// Sorts rows whose positions do not rise, equal positions by the bits of their values.
void sort_rows(SparseRows& rows);

/// The sparse rows of a compressed matrix in panels. The products go over it block by block, so
/// that the piece of the grid in use stays in a core's first-level cache. 6 bytes per coefficient
/// and 4 per row and block. Within a row and block the positions rise, whatever their order was.
class SparseMatrix {
 public:
  SparseMatrix() = default;
  /// A matrix over a grid of so many points that is to have so many rows and, about, coefficients.
  /// It can be multiplied when it has all of these rows.
  /// @throws StopRun alloc_error("getpar Gs") when its counts alone exceed the memory
  SparseMatrix(std::int64_t points, std::int64_t rows, std::int64_t entries);

  /// The part of a matrix that has these of its blocks and these of its pieces.
  /// @throws StopRun alloc_error("getpar Gs")
  SparseMatrix(const SparseBlocks& of_all, const ranks::Share& blocks,
               const std::vector<SparsePiece>& all_pieces, const ranks::Share& pieces);

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

  std::int64_t blocks() const { return blocks_.count; }
  std::int64_t block_points() const { return blocks_.points(); }
  const std::vector<SparsePanel>& panels() const { return panels_; }
  const std::vector<SparsePiece>& pieces() const { return pieces_; }
  const std::vector<SparseTask>& tasks() const { return tasks_; }

 private:
  SparseBlocks blocks_;
  std::vector<SparsePanel> panels_;
  bool is_part_ = false;
  SparseCounts counts_;  // of the rows that are there; not of a part
  // When all rows are there, or given for a part:
  std::vector<SparsePiece> pieces_;
  std::vector<SparseTask> tasks_;
};

}  // namespace quorivex
