// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/sparse_matrix.h"

#include <omp.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "getpar Gs";
// A block of 2^15 doubles fills 256 KiB, a part of a core's second-level cache. Small grids have
// smaller blocks, so that there is one for every core. From 2^13 to 2^16 the size hardly matters.
constexpr int kMostBits = 15;
constexpr int kLeastBits = 8;
constexpr int kBlocksWanted = 6;  // as a power of two

bool rises(View1<const std::int32_t> positions) {
  return std::is_sorted(positions.begin(), positions.end());
}

/// Sorts a row by position, equal positions by the bits of their values.
void sort_row(SparseRow row, std::uint64_t* pairs) {
  auto* positions = const_cast<std::int32_t*>(row.positions.data());
  auto* values = const_cast<float*>(row.values.data());
  const std::int64_t nnz = row.values.size();
  for (std::int64_t k = 0; k < nnz; ++k) {
    pairs[k] =
        static_cast<std::uint64_t>(positions[k]) << 32U | std::bit_cast<std::uint32_t>(values[k]);
  }
  std::sort(pairs, pairs + nnz);
  for (std::int64_t k = 0; k < nnz; ++k) {
    positions[k] = static_cast<std::int32_t>(pairs[k] >> 32U);
    values[k] = std::bit_cast<float>(static_cast<std::uint32_t>(pairs[k]));
  }
}

void sort_rows(SparseRows& rows) {
  std::int64_t longest = 0;
  for (std::int64_t i = 1; i <= rows.rows(); ++i) {
    if (!rises(rows(i).positions)) longest = std::max(longest, rows(i).positions.size());
  }
  if (longest == 0) return;
  const std::int64_t count = rows.rows();
  std::vector<std::uint64_t> scratch =
      allocate<std::uint64_t>(as_size(longest * omp_get_max_threads()), kRoutine);
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(rows, count, scratch, longest)
  for (std::int64_t i = 1; i <= count; ++i) {
    if (!rises(rows(i).positions))
      sort_row(rows(i), scratch.data() + longest * omp_get_thread_num());
  }
}

/// counts(row, block) and, in `places`, where each row begins in each block, from the start of the
/// panel; both block after block.
void count(const SparseRows& rows, int bits, std::int64_t blocks, SparsePanel& panel,
           std::vector<std::int64_t>& places) {
  const std::int64_t n = panel.rows;
#pragma omp parallel for schedule(dynamic, 4) default(none) shared(rows, bits, panel, n)
  for (std::int64_t i = 0; i < n; ++i) {
    for (const std::int32_t position : rows(i + 1).positions) {
      ++panel.counts[as_size(((position - 1) >> bits) * n + i)];
    }
  }
  std::int64_t place = 0;
  for (std::int64_t b = 0; b < blocks; ++b) {
    panel.starts.push_back(place);
    for (std::int64_t at = b * n; at < (b + 1) * n; ++at) {
      places[as_size(at)] = place;
      place += panel.counts[as_size(at)];
    }
  }
  panel.starts.push_back(place);
}

void fill(const SparseRows& rows, int bits, const std::vector<std::int64_t>& places,
          SparsePanel& panel) {
  const std::int64_t n = panel.rows;
  const std::int32_t mask = (1 << bits) - 1;
#pragma omp parallel for schedule(dynamic, 4) default(none) \
    shared(rows, bits, places, panel, n, mask)
  for (std::int64_t i = 0; i < n; ++i) {
    const SparseRow row = rows(i + 1);
    const std::int32_t* positions = row.positions.data();
    const std::int64_t nnz = row.values.size();
    for (std::int64_t k = 0; k < nnz;) {
      const std::int64_t block = (positions[k] - 1) >> bits;
      std::int64_t to = places[as_size(block * n + i)];
      for (; k < nnz && (positions[k] - 1) >> bits == block; ++k, ++to) {
        panel.positions.data()[to] = static_cast<std::uint16_t>((positions[k] - 1) & mask);
        panel.values.data()[to] = row.values.data()[k];
      }
    }
  }
}

}  // namespace

SparseMatrix::SparseMatrix(std::int64_t points, std::int64_t rows) {
  const auto width = static_cast<int>(std::bit_width(static_cast<std::uint64_t>(points)));
  block_bits_ = std::clamp(width - 1 - kBlocksWanted, kLeastBits, kMostBits);
  blocks_ = (points + block_points() - 1) / block_points();
  try {
    expect_memory(sizeof(std::uint32_t) * as_size(rows) * as_size(blocks_));
  } catch (const std::bad_alloc&) {
    alloc_error(kRoutine);
  }
}

void SparseMatrix::append(SparseRows& rows) {
  sort_rows(rows);
  SparsePanel panel;
  panel.rows_before = this->rows();
  panel.rows = rows.rows();
  panel.positions = {rows.entries(), kRoutine};
  panel.values = {rows.entries(), kRoutine};
  panel.counts = allocate<std::uint32_t>(as_size(rows.rows() * blocks_), kRoutine);
  std::vector<std::int64_t> places =
      allocate<std::int64_t>(as_size(rows.rows() * blocks_), kRoutine);
  count(rows, block_bits_, blocks_, panel, places);
  fill(rows, block_bits_, places, panel);
  panels_.push_back(std::move(panel));
}

std::int64_t SparseMatrix::rows() const {
  return panels_.empty() ? 0 : panels_.back().rows_before + panels_.back().rows;
}

std::int64_t SparseMatrix::entries() const {
  std::int64_t sum = 0;
  for (const SparsePanel& panel : panels_) sum += panel.values.size();
  return sum;
}

std::int64_t SparseMatrix::bytes() const {
  constexpr std::int64_t kEntryBytes = sizeof(std::uint16_t) + sizeof(float);
  constexpr std::int64_t kCountBytes = sizeof(std::uint32_t);
  return entries() * kEntryBytes + rows() * blocks_ * kCountBytes;
}

const SparsePanel& SparseMatrix::panel_of_row(std::int64_t i) const {
  const auto behind = std::upper_bound(
      panels_.begin(), panels_.end(), i - 1,
      [](std::int64_t row, const SparsePanel& panel) { return row < panel.rows_before; });
  return *(behind - 1);
}

std::int64_t SparseMatrix::row_entries(std::int64_t i) const {
  const SparsePanel& panel = panel_of_row(i);
  std::int64_t sum = 0;
  for (std::int64_t b = 0; b < blocks_; ++b) sum += panel.counts_of(b)[i - 1 - panel.rows_before];
  return sum;
}

bool SparseMatrix::row_is_finite(std::int64_t i) const {
  const SparsePanel& panel = panel_of_row(i);
  const std::int64_t row = i - 1 - panel.rows_before;
  for (std::int64_t b = 0; b < blocks_; ++b) {
    const std::uint32_t* counts = panel.counts_of(b);
    const float* first =
        panel.values.data() + std::accumulate(counts, counts + row, panel.starts[as_size(b)]);
    if (!std::all_of(first, first + counts[row], [](float v) { return std::isfinite(v); })) {
      return false;
    }
  }
  return true;
}

std::vector<std::int64_t> SparseMatrix::even_shares(int parts) const {
  const auto all = static_cast<double>(entries());
  std::vector<std::int64_t> firsts{0};
  double behind = 0.0;
  for (std::int64_t p = 0; p < length(panels_); ++p) {
    const double middle = behind + 0.5 * static_cast<double>(panels_[as_size(p)].values.size());
    behind += static_cast<double>(panels_[as_size(p)].values.size());
    while (length(firsts) < parts && middle > all * static_cast<double>(length(firsts)) / parts) {
      firsts.push_back(p);
    }
  }
  firsts.resize(as_size(parts) + 1, length(panels_));
  return firsts;
}

}  // namespace quorivex
