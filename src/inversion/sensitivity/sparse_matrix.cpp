// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sparse_matrix.h"

#include <omp.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "getpar Gs";
// A block of 2^12 doubles fills 32 KiB: what a row's piece in it reads and adds to is found in the
// first-level cache. Small grids have smaller blocks, so that every core has some; larger blocks
// where rows are so short that their ends would cost more than longer ways to the grid.
constexpr int kMaxBits = 12;
constexpr int kMinBits = 8;
constexpr int kBlocksWanted = 5;  // as a power of two
constexpr int kPositionBits = 16;
constexpr std::int64_t kMaxCount = 65535;  // of a piece

bool rises(View1<const std::int32_t> positions) {
  return std::is_sorted(positions.begin(), positions.end());
}

/// Sorts a row by position, equal positions by the bits of their values; room for a row in `work`.
void sort_row(MutableSparseRow row, std::uint64_t* work) {
  const View1<std::uint64_t> pairs(work, row.values.size());
  for (std::int64_t k = 1; k <= pairs.size(); ++k) {
    pairs(k) = static_cast<std::uint64_t>(row.positions(k)) << 32U |
               std::bit_cast<std::uint32_t>(row.values(k));
  }
  std::sort(pairs.begin(), pairs.end());
  for (std::int64_t k = 1; k <= pairs.size(); ++k) {
    row.positions(k) = static_cast<std::int32_t>(pairs(k) >> 32U);
    row.values(k) = std::bit_cast<float>(static_cast<std::uint32_t>(pairs(k)));
  }
}

/// Calls visit(block, first, last) for each run of a row's positions in one block, from `first` to
/// before `last`, from 0.
template <class Visit>
void for_each_run(View1<const std::int32_t> positions, int bits, Visit visit) {
  const auto block_of = [&](std::int64_t k) {
    return std::int64_t{(positions.data()[k] - 1) >> bits};
  };
  for (std::int64_t first = 0; first < positions.size();) {
    const std::int64_t block = block_of(first);
    std::int64_t last = first + 1;
    while (last < positions.size() && block_of(last) == block) ++last;
    visit(block, first, last);
    first = last;
  }
}

/// Where the coefficients of each row begin in each block, block by block, and at the end their
/// number.
std::vector<std::int64_t> place_rows(const SparseRows& rows, int bits, std::int64_t blocks) {
  const std::int64_t count = rows.rows();
  std::vector<std::int64_t> places = allocate<std::int64_t>(as_size(count * blocks + 1), kRoutine);
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(rows, bits, count, places)
  for (std::int64_t i = 0; i < count; ++i) {
    for_each_run(rows(i + 1).positions, bits,
                 [&](std::int64_t block, std::int64_t first, std::int64_t last) {
                   places[as_size(block * count + i)] = last - first;
                 });
  }
  std::exclusive_scan(places.begin(), places.end(), places.begin(), std::int64_t{0});
  return places;
}

/// Calls visit(piece) for the pieces of a row with so many coefficients in a block.
template <class Visit>
void for_each_piece(std::int64_t row, std::int64_t entries, Visit visit) {
  for (; entries > 0; entries -= std::min(entries, kMaxCount)) {
    visit(RowPiece{static_cast<std::uint16_t>(row),
                   static_cast<std::uint16_t>(std::min(entries, kMaxCount))});
  }
}

/// Sets starts and pieces of the blocks.
void place_blocks(const std::vector<std::int64_t>& places, std::int64_t blocks,
                  SparsePanel& panel) {
  panel.starts = allocate<std::int64_t>(as_size(blocks) + 1, kRoutine);
  panel.piece_starts = allocate<std::int64_t>(as_size(blocks) + 1, kRoutine);
  const auto entries = [&](std::int64_t b, std::int64_t i) {
    const std::size_t at = as_size(b * panel.rows + i);
    return places[at + 1] - places[at];
  };
  std::int64_t count = 0;
  for (std::int64_t b = 0; b < blocks; ++b) {
    for (std::int64_t i = 0; i < panel.rows; ++i)
      count += (entries(b, i) + kMaxCount - 1) / kMaxCount;
    panel.starts[as_size(b + 1)] = places[as_size((b + 1) * panel.rows)];
    panel.piece_starts[as_size(b + 1)] = count;
  }
  panel.pieces = {count, kRoutine};
  RowPiece* to = panel.pieces.data();
  for (std::int64_t b = 0; b < blocks; ++b) {
    for (std::int64_t i = 0; i < panel.rows; ++i)
      for_each_piece(i, entries(b, i), [&](const RowPiece& piece) { *to++ = piece; });
  }
}

void copy_coefficients(const SparseRows& rows, int bits, const std::vector<std::int64_t>& places,
                       SparsePanel& panel) {
  const std::int32_t mask = (1 << bits) - 1;
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(rows, bits, places, panel, mask)
  for (std::int64_t i = 0; i < panel.rows; ++i) {
    const SparseRow row = rows(i + 1);
    for_each_run(row.positions, bits,
                 [&](std::int64_t block, std::int64_t first, std::int64_t last) {
                   std::int64_t to = places[as_size(block * panel.rows + i)];
                   for (std::int64_t k = first; k < last; ++k, ++to) {
                     const std::int32_t within = (row.positions.data()[k] - 1) & mask;
                     panel.positions.data()[to] = static_cast<std::uint16_t>(within);
                     panel.values.data()[to] = row.values.data()[k];
                   }
                 });
  }
}

void count_entries(const SparsePanel& panel, SparseCounts& counts) {
  for (std::int64_t b = 0; b < counts.blocks; ++b) {
    const SparseCell cell = panel.cell(b);
    for (const RowPiece* piece = cell.first; piece != cell.last; ++piece)
      counts(b, panel.rows_before + piece->row) += piece->count;
  }
}

std::int64_t most_pieces(std::int64_t rows, std::int64_t blocks, std::int64_t entries) {
  return std::min(rows * blocks, entries);
}

}  // namespace

SparseCell rows_of(SparseCell cell, std::int64_t first, std::int64_t last) {
  const auto before = [](const RowPiece& piece, std::int64_t row) { return piece.row < row; };
  const RowPiece* const from = std::lower_bound(cell.first, cell.last, first, before);
  for (; cell.first != from; ++cell.first) {
    cell.positions += cell.first->count;
    cell.values += cell.first->count;
  }
  cell.last = std::lower_bound(cell.first, cell.last, last, before);
  return cell;
}

SparseBlocks::SparseBlocks(std::int64_t points, std::int64_t rows, std::int64_t entries) {
  const auto width = static_cast<int>(std::bit_width(static_cast<std::uint64_t>(points)));
  bits = std::clamp(width - 1 - kBlocksWanted, kMinBits, kMaxBits);
  const std::int64_t of_row = entries / std::max<std::int64_t>(rows, 1);
  const auto wanted = [&] { return bits > kMaxBits ? 8 : 16; };  // of a row and block
  while (bits < kPositionBits && points >> bits > 0 && of_row / (points >> bits) < wanted()) {
    ++bits;
  }
  count = (points + this->points() - 1) >> bits;
}

void sort_rows(SparseRows& rows) {
  const std::int64_t count = rows.rows();
  std::vector<std::uint8_t> sorted = allocate<std::uint8_t>(as_size(count), kRoutine);
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(rows, count, sorted)
  for (std::int64_t i = 1; i <= count; ++i)
    sorted[as_size(i - 1)] = rises(rows(i).positions) ? 1 : 0;
  std::int64_t longest = 0;
  std::int64_t unsorted = 0;
  for (std::int64_t i = 1; i <= count; ++i) {
    if (sorted[as_size(i - 1)] != 0) continue;
    longest = std::max(longest, rows(i).positions.size());
    ++unsorted;
  }
  if (unsorted == 0) return;
  const auto threads = static_cast<int>(std::min<std::int64_t>(unsorted, omp_get_max_threads()));
  UninitializedArray<std::uint64_t> scratch(longest * threads, kRoutine);
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads) default(none) \
    shared(rows, count, sorted, scratch, longest)
  for (std::int64_t i = 1; i <= count; ++i) {
    if (sorted[as_size(i - 1)] == 0)
      sort_row(rows(i), scratch.data() + longest * omp_get_thread_num());
  }
}

SparseMatrix::SparseMatrix(std::int64_t points, std::int64_t rows, std::int64_t entries)
    : blocks_(points, rows, entries) {
  with_alloc_label(kRoutine, [&] {
    require_available_memory(sizeof(RowPiece) * as_size(most_pieces(rows, blocks(), entries)));
    counts_ = SparseCounts(blocks(), rows);
  });
}

SparseMatrix::SparseMatrix(const SparseBlocks& of_all, const ranks::Share& blocks,
                           const std::vector<SparsePiece>& all_pieces, const ranks::Share& pieces)
    : blocks_(of_all), is_part_(true) {
  blocks_.count = blocks.size();
  with_alloc_label(kRoutine, [&] {
    pieces_ = {all_pieces.begin() + pieces.begin, all_pieces.begin() + pieces.end};
    for (SparsePiece& piece : pieces_) {
      piece.first_block -= blocks.begin;
      piece.last_block -= blocks.begin;
    }
    tasks_ = tasks_of(pieces_, most_of_task(all_pieces));
  });
}

void SparseMatrix::append(SparseRows& rows) {
  sort_rows(rows);
  SparsePanel panel;
  panel.rows_before = this->rows();
  panel.rows = rows.rows();
  panel.positions = {rows.entries() + SparseCell::kReadBeyond, kRoutine};
  panel.values = {rows.entries() + SparseCell::kReadBeyond, kRoutine};
  std::fill_n(panel.positions.data() + rows.entries(), SparseCell::kReadBeyond, std::uint16_t{0});
  std::fill_n(panel.values.data() + rows.entries(), SparseCell::kReadBeyond, 0.0F);
  const std::vector<std::int64_t> places = place_rows(rows, blocks_.bits, blocks());
  place_blocks(places, blocks(), panel);
  copy_coefficients(rows, blocks_.bits, places, panel);
  with_alloc_label(kRoutine, [&] {
    panels_.push_back(std::move(panel));
    if (is_part_) return;
    count_entries(panels_.back(), counts_);
    if (this->rows() < counts_.rows) return;
    pieces_ = cut_into_pieces(counts_, block_points());
    tasks_ = tasks_of(pieces_, most_of_task(pieces_));
  });
}

std::int64_t SparseMatrix::rows() const {
  return panels_.empty() ? 0 : panels_.back().rows_before + panels_.back().rows;
}

std::int64_t SparseMatrix::entries() const {
  std::int64_t sum = 0;
  for (const SparsePanel& panel : panels_) sum += panel.entries();
  return sum;
}

std::int64_t SparseMatrix::entries(std::int64_t block) const {
  std::int64_t sum = 0;
  for (const SparsePanel& panel : panels_) sum += panel.entries(block);
  return sum;
}

std::int64_t SparseMatrix::bytes_for(std::int64_t points, std::int64_t rows, std::int64_t entries) {
  constexpr std::int64_t kEntryBytes = sizeof(std::uint16_t) + sizeof(float);
  constexpr std::int64_t kPieceBytes = sizeof(RowPiece);
  const std::int64_t blocks = SparseBlocks(points, rows, entries).count;
  return entries * kEntryBytes + most_pieces(rows, blocks, entries) * kPieceBytes;
}

std::vector<SparseMatrix::RowStatistics> SparseMatrix::row_statistics() const {
  std::vector<RowStatistics> statistics(as_size(rows()));
  for (const SparsePanel& panel : panels_) {
    const float* value = panel.values.data();
    for (const RowPiece& piece : panel.pieces.view()) {
      RowStatistics& row = statistics[as_size(panel.rows_before + piece.row)];
      row.entries += piece.count;
      row.finite = row.finite && std::all_of(value, value + piece.count,
                                             [](float v) { return std::isfinite(v); });
      value += piece.count;
    }
  }
  return statistics;
}

}  // namespace quorivex
