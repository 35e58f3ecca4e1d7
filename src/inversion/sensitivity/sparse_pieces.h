// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

namespace quorivex {

/// How many coefficients of a compressed matrix lie in each block of the grid, row by row, or band
/// by band of consecutive rows where there are many.
struct SparseCounts {
  SparseCounts() = default;
  /// @throws StopRun alloc_error("getpar Gs")
  SparseCounts(std::int64_t blocks, std::int64_t rows);

  std::int64_t band(std::int64_t row) const { return ((row + 1) * bands - 1) / rows; }
  std::int64_t first_row(std::int64_t of_band) const { return of_band * rows / bands; }
  std::int64_t& operator()(std::int64_t block, std::int64_t row);

  std::int64_t blocks = 0;
  std::int64_t rows = 0;
  std::int64_t bands = 0;
  std::vector<std::int64_t> entries;  ///< those of a block together
};

/// A part of a compressed matrix: from the first to before the last of its blocks and of its rows,
/// all from 0. Its blocks are whole, or it is one of several parts of a single block.
struct SparsePiece {
  std::int64_t first_block;
  std::int64_t last_block;
  std::int64_t first_row;
  std::int64_t last_row;
  std::int64_t part;   ///< its number among those of its block, from 0
  std::int64_t parts;  ///< how many there are
  std::int64_t entries;
};

/// Cuts a matrix into pieces that depend on its coefficients alone, ranges of blocks and, where
/// blocks are cut, parts of one: ranges of its rows. None has more than a 64th of all
/// coefficients. Any number of processes up to 64 can have shares of at most 1.05 times their mean,
/// as long as a share has many coefficients for every point of a block: adding up the parts of a
/// block costs as much as some coefficients more. Hence the cuts are as few as will do.
std::vector<SparsePiece> cut_into_pieces(const SparseCounts& counts, std::int64_t block_points);

/// What a thread takes: the pieces from the first to before the last, from 0. They are ranges of
/// blocks, or parts of a block that make up a branch of the tree along which these are added.
struct SparseTask {
  std::int64_t first_piece;
  std::int64_t last_piece;
  std::int64_t share;  ///< number of its sum, from 0, among those of parts of a block; -1: a whole
};

/// The first piece of each process, and at the end their number: consecutive pieces, the most of
/// which a process has being as little as possible.
std::vector<std::int64_t> deal_pieces(const std::vector<SparsePiece>& pieces, int processes);

/// Forks below one another in the tree of a task's parts, at most.
inline constexpr std::int64_t kTaskForks = 4;

/// The tasks of some consecutive pieces, with `most` coefficients unless a single piece has more.
std::vector<SparseTask> tasks_of(const std::vector<SparsePiece>& pieces, std::int64_t most);

/// How many coefficients a task should have at most.
std::int64_t most_of_task(const std::vector<SparsePiece>& all_pieces);

/// Where n > 1 leaves of a branch of the tree are divided: neighbours are added first, then pairs
/// of them, and so on.
std::int64_t left_branch(std::int64_t n);
/// Whether, of a tree of so many leaves, those from `first` to before `middle` and those to before
/// `last` are the two branches of a fork.
bool is_fork(std::int64_t first, std::int64_t middle, std::int64_t last, std::int64_t leaves);

}  // namespace quorivex
