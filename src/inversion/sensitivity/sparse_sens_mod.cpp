// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sparse_sens_mod.h"

#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex::SPARSE_SENS_MOD {
namespace {

constexpr std::ptrdiff_t kStep = 16;  // coefficients, of which the values fill a cache line
constexpr std::ptrdiff_t kSums = 4;
constexpr std::int64_t kLine = 8;  // doubles in a cache line

/// Asks for the coefficients some steps further on, be they of this row or of the next ones. The
/// processor's own look-ahead ends at every page and reaches less than half the bandwidth.
void fetch_ahead(const std::uint16_t* positions, const float* values) {
  constexpr int kAhead = 512;
  __builtin_prefetch(positions + kAhead);
  __builtin_prefetch(values + kAhead);
}

/// The dot product of a row's part in a block with the block's part of the grid. Four sums, so that
/// an addition need not wait for the one before; they stay in registers, since no index into them
/// depends on the count. Rows are short here: what ends them costs as much as what they hold.
double dot_of_row(const std::uint16_t* positions, const float* values, std::uint32_t count,
                  const double* w) {
  const std::uint16_t* behind = positions + count;
  double s0 = 0.0;
  double s1 = 0.0;
  double s2 = 0.0;
  double s3 = 0.0;
  const auto add_four = [&](std::ptrdiff_t k) {
    s0 += static_cast<double>(values[k]) * w[positions[k]];
    s1 += static_cast<double>(values[k + 1]) * w[positions[k + 1]];
    s2 += static_cast<double>(values[k + 2]) * w[positions[k + 2]];
    s3 += static_cast<double>(values[k + 3]) * w[positions[k + 3]];
  };
  for (; behind - positions >= kStep; positions += kStep, values += kStep) {
    fetch_ahead(positions, values);
    for (std::ptrdiff_t k = 0; k < kStep; k += kSums) add_four(k);
  }
  if (positions != behind) fetch_ahead(positions, values);
  for (; behind - positions >= kSums; positions += kSums, values += kSums) add_four(0);
  for (; positions != behind; ++positions, ++values) {
    s0 += static_cast<double>(*values) * w[*positions];
  }
  return (s0 + s1) + (s2 + s3);
}

/// w += t times a row's part in a block. One addition after the other: a position may come twice.
void scatter_add_rows(const std::uint16_t* positions, const float* values, std::uint32_t count,
                      double t, double* w) {
  const std::uint16_t* behind = positions + count;
  for (; behind - positions >= kStep; positions += kStep, values += kStep) {
    fetch_ahead(positions, values);
    for (std::ptrdiff_t k = 0; k < kStep; ++k) {
      w[positions[k]] += static_cast<double>(values[k]) * t;
    }
  }
  if (positions != behind) fetch_ahead(positions, values);
  for (; positions != behind; ++positions, ++values) {
    w[*positions] += static_cast<double>(*values) * t;
  }
}

/// d(i) += the part of row i in block b, for rows `first` to before `last` of the panel's.
void accumulate_row_products(const SparsePanel& panel, std::int64_t b, std::int64_t first,
                             std::int64_t last, const double* w, double* d) {
  const std::uint32_t* counts = panel.counts_of(b);
  const std::int64_t start = std::accumulate(counts, counts + first, panel.starts[as_size(b)]);
  const std::uint16_t* positions = panel.positions.data() + start;
  const float* values = panel.values.data() + start;
  for (std::int64_t i = first; i < last; ++i) {
    d[i] += dot_of_row(positions, values, counts[i], w);
    positions += counts[i];
    values += counts[i];
  }
}

/// w += block b of S^T d for the panel's rows, in order.
void scatter_add_rows(const SparsePanel& panel, std::int64_t b, const double* d, double* w) {
  const std::uint16_t* positions = panel.positions.data() + panel.starts[as_size(b)];
  const float* values = panel.values.data() + panel.starts[as_size(b)];
  const std::uint32_t* counts = panel.counts_of(b);
  for (std::int64_t i = 0; i < panel.rows; ++i) {
    scatter_add_rows(positions, values, counts[i], d[i], w);
    positions += counts[i];
    values += counts[i];
  }
}

}  // namespace

// Every sum has one owner and a fixed order: a row's sum goes over the blocks in order, a point's
// over the rows in order. Results are the same to the last bit for any number of threads.

void CALC_GV(const SensitivityState& sens, View1<const double> w, View1<double> d) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
  const std::vector<std::int64_t> shares = matrix.balanced_row_ranges(omp_get_max_threads());
  const auto parts = length(shares) - 1;
  // So many blocks at a time that their part of the grid, 512 KiB, is fetched once and stays near
  // while all rows of a share pass. A panel's coefficients for them lie one behind the other.
  const std::int64_t together = std::max<std::int64_t>((1 << 16) / matrix.block_points(), 1);
  std::fill(d.begin(), d.end(), 0.0);
#pragma omp parallel for schedule(static, 1) default(none) \
    shared(matrix, shares, parts, together, w, d)
  for (std::int64_t part = 0; part < parts; ++part) {
    const std::int64_t first = shares[as_size(part)];
    const std::int64_t last = shares[as_size(part + 1)];
    for (std::int64_t group = 0; group < matrix.blocks(); group += together) {
      const std::int64_t behind =
          std::min((group + together) * matrix.block_points(), std::int64_t{w.size()});
      for (std::int64_t at = group * matrix.block_points(); at < behind; at += kLine) {
        __builtin_prefetch(w.data() + at, 0, 2);
      }
      for (const SparsePanel& panel : matrix.panels()) {
        const std::int64_t from = std::max(first - panel.rows_before, std::int64_t{0});
        const std::int64_t to = std::min(last - panel.rows_before, panel.rows);
        for (std::int64_t b = group; b < std::min(group + together, matrix.blocks()); ++b) {
          if (from >= to) break;
          accumulate_row_products(panel, b, from, to, w.data() + b * matrix.block_points(),
                                  d.data() + panel.rows_before);
        }
      }
    }
  }
}

void CALC_GTV(const SensitivityState& sens, View1<const double> d, View1<double> w) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(matrix, w, d)
  for (std::int64_t b = 0; b < matrix.blocks(); ++b) {
    const std::int64_t first = b * matrix.block_points();
    double* slice = w.data() + first;
    std::fill_n(slice, std::min(matrix.block_points(), w.size() - first), 0.0);
    for (const SparsePanel& panel : matrix.panels()) {
      scatter_add_rows(panel, b, d.data() + panel.rows_before, slice);
    }
  }
}

void CALC_GTGV(const SensitivityState& sens, View1<double> w) {
  std::vector<double> work = allocate<double>(as_size(sens.ndata), "CALC_GTGV");
  CALC_GV(sens, w, work);
  CALC_GTV(sens, work, w);
}

}  // namespace quorivex::SPARSE_SENS_MOD
