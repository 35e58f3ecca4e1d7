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
// A block of 2^13 doubles fills 64 KiB: what a row's piece in it reads and adds to is found in the
// first- and second-level caches. Small grids have smaller blocks, so that every core has some;
// larger blocks where rows are so short that their ends would cost more than their coefficients.
constexpr int kMaxBits = 13;
constexpr int kMinBits = 8;
constexpr int kBlocksWanted = 5;  // as a power of two
constexpr int kPositionBits = 16;
constexpr std::int64_t kEntriesWanted = 16;  // of a row and block

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

void count_coefficients(const SparseRows& rows, int bits, SparsePanel& panel) {
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(rows, bits, panel)
  for (std::int64_t i = 0; i < panel.rows; ++i) {
    for_each_run(rows(i + 1).positions, bits,
                 [&](std::int64_t block, std::int64_t first, std::int64_t last) {
                   panel.counts[panel.at(i, block)] = static_cast<std::uint32_t>(last - first);
                 });
  }
}

/// Sets the starts of the blocks; returns where each row begins in each block, in the order of the
/// counts.
std::vector<std::int64_t> place_rows(std::int64_t blocks, SparsePanel& panel) {
  std::vector<std::int64_t> places = allocate<std::int64_t>(panel.counts.size(), kRoutine);
  std::exclusive_scan(panel.counts.begin(), panel.counts.end(), places.begin(), std::int64_t{0});
  panel.starts = allocate<std::int64_t>(as_size(blocks) + 1, kRoutine, panel.values.size());
  for (std::int64_t b = 0; b < blocks && panel.rows > 0; ++b)
    panel.starts[as_size(b)] = places[panel.at(0, b)];
  return places;
}

void copy_coefficients(const SparseRows& rows, int bits, const std::vector<std::int64_t>& places,
                       SparsePanel& panel) {
  const std::int32_t mask = (1 << bits) - 1;
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(rows, bits, places, panel, mask)
  for (std::int64_t i = 0; i < panel.rows; ++i) {
    const SparseRow row = rows(i + 1);
    for_each_run(row.positions, bits,
                 [&](std::int64_t block, std::int64_t first, std::int64_t last) {
                   std::int64_t to = places[panel.at(i, block)];
                   for (std::int64_t k = first; k < last; ++k, ++to) {
                     const std::int32_t within = (row.positions.data()[k] - 1) & mask;
                     panel.positions.data()[to] = static_cast<std::uint16_t>(within);
                     panel.values.data()[to] = row.values.data()[k];
                   }
                 });
  }
}

int choose_block_bits(std::int64_t points, std::int64_t rows, std::int64_t entries) {
  const auto width = static_cast<int>(std::bit_width(static_cast<std::uint64_t>(points)));
  int bits = std::clamp(width - 1 - kBlocksWanted, kMinBits, kMaxBits);
  const std::int64_t of_row = entries / std::max<std::int64_t>(rows, 1);
  while (bits < kPositionBits && points >> bits > 0 && of_row / (points >> bits) < kEntriesWanted) {
    ++bits;
  }
  return bits;
}

}  // namespace

SparseMatrix::SparseMatrix(std::int64_t points, std::int64_t rows, std::int64_t entries)
    : block_bits_(choose_block_bits(points, rows, entries)),
      blocks_((points + block_points() - 1) / block_points()) {
  with_alloc_label(kRoutine, [&] {
    require_available_memory(sizeof(std::uint32_t) * as_size(rows) * as_size(blocks_));
  });
}

void SparseMatrix::append(SparseRows& rows) {
  sort_rows(rows);
  SparsePanel panel;
  panel.rows_before = this->rows();
  panel.rows = rows.rows();
  with_alloc_label(kRoutine, [&] {
    for (std::int64_t i = 1; i <= rows.rows(); ++i) {
      append_checked(row_entries_, rows(i).values.size());
    }
  });
  panel.positions = {rows.entries(), kRoutine};
  panel.values = {rows.entries(), kRoutine};
  panel.counts = allocate<std::uint32_t>(as_size(rows.rows() * blocks_), kRoutine);
  count_coefficients(rows, block_bits_, panel);
  const std::vector<std::int64_t> places = place_rows(blocks_, panel);
  copy_coefficients(rows, block_bits_, places, panel);
  with_alloc_label(kRoutine, [&] { panels_.push_back(std::move(panel)); });
}

std::int64_t SparseMatrix::rows() const {
  return panels_.empty() ? 0 : panels_.back().rows_before + panels_.back().rows;
}

std::int64_t SparseMatrix::entries() const {
  std::int64_t sum = 0;
  for (const SparsePanel& panel : panels_) sum += panel.values.size();
  return sum;
}

std::int64_t SparseMatrix::bytes_for(std::int64_t points, std::int64_t rows, std::int64_t entries) {
  constexpr std::int64_t kEntryBytes = sizeof(std::uint16_t) + sizeof(float);
  constexpr std::int64_t kCountBytes = sizeof(std::uint32_t);
  const std::int64_t block = std::int64_t{1} << choose_block_bits(points, rows, entries);
  return entries * kEntryBytes + rows * ((points + block - 1) / block) * kCountBytes;
}

std::vector<SparseMatrix::RowStatistics> SparseMatrix::row_statistics() const {
  std::vector<RowStatistics> statistics(as_size(rows()));
  for (const SparsePanel& panel : panels_) {
    for (std::int64_t b = 0; b < blocks_; ++b) {
      panel.for_each_piece(b, 0, panel.rows, [&](std::int64_t i, const RowPiece& piece) {
        RowStatistics& row = statistics[as_size(panel.rows_before + i)];
        row.entries += piece.count;
        row.finite = row.finite && std::all_of(piece.values, piece.values + piece.count,
                                               [](float v) { return std::isfinite(v); });
      });
    }
  }
  return statistics;
}

std::vector<std::int64_t> SparseMatrix::balanced_row_ranges(int parts) const {
  const auto share = static_cast<double>(entries()) / parts;
  std::vector<std::int64_t> firsts{0};
  double before = 0.0;
  for (std::int64_t row = 0; row < length(row_entries_); ++row) {
    before += static_cast<double>(row_entries_[as_size(row)]);
    while (length(firsts) < parts && before >= share * static_cast<double>(length(firsts))) {
      firsts.push_back(row + 1);
    }
  }
  firsts.resize(as_size(parts) + 1, rows());
  return firsts;
}

}  // namespace quorivex
