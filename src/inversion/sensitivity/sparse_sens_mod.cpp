// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sparse_sens_mod.h"

#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex::SPARSE_SENS_MOD {
namespace {

constexpr std::ptrdiff_t kStep = 16;  // coefficients, of which the values fill a cache line
constexpr std::ptrdiff_t kSums = 4;

/// Prefetches the coefficients some steps further on, whether of this row or of the next ones. The
/// processor's own look-ahead ends at every page and reaches less than half the bandwidth.
void fetch_ahead(const std::uint16_t* positions, const float* values) {
  constexpr int kAhead = 512;
  __builtin_prefetch(positions + kAhead);
  __builtin_prefetch(values + kAhead);
}

/// The dot product of a row's piece with its block of the grid. Four sums, so that an addition need
/// not wait for the one before; they stay in registers, since no index into them depends on the
/// count. Rows are short here: what ends them costs as much as what they hold, and counting the
/// coefficients down instead of comparing pointers takes half as long again.
double dot_product(const RowPiece& piece, const double* w) {
  const std::uint16_t* positions = piece.positions;
  const float* values = piece.values;
  const std::uint16_t* const end = positions + piece.count;
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
  for (; end - positions >= kStep; positions += kStep, values += kStep) {
    fetch_ahead(positions, values);
    for (std::ptrdiff_t k = 0; k < kStep; k += kSums) add_four(k);
  }
  if (positions != end) fetch_ahead(positions, values);
  for (; end - positions >= kSums; positions += kSums, values += kSums) add_four(0);
  for (; positions != end; ++positions, ++values) {
    s0 += static_cast<double>(*values) * w[*positions];
  }
  return (s0 + s1) + (s2 + s3);
}

/// w += t times a row's piece. One addition after the other: a position may come twice.
void scatter_add(const RowPiece& piece, double t, double* w) {
  const std::uint16_t* positions = piece.positions;
  const float* values = piece.values;
  const std::uint16_t* const end = positions + piece.count;
  for (; end - positions >= kStep; positions += kStep, values += kStep) {
    fetch_ahead(positions, values);
    for (std::ptrdiff_t k = 0; k < kStep; ++k) {
      w[positions[k]] += static_cast<double>(values[k]) * t;
    }
  }
  if (positions != end) fetch_ahead(positions, values);
  for (; positions != end; ++positions, ++values) {
    w[*positions] += static_cast<double>(*values) * t;
  }
}

/// d(i) += block b of row i times its part of the grid, for rows from `first` to before `last`,
/// from 0, of the matrix.
void accumulate_rows(const SparseMatrix& matrix, std::int64_t b, std::int64_t first,
                     std::int64_t last, const double* w, double* d) {
  for (const SparsePanel& panel : matrix.panels()) {
    const std::int64_t from = std::max(first - panel.rows_before, std::int64_t{0});
    const std::int64_t to = std::min(last - panel.rows_before, panel.rows);
    if (from >= to) continue;
    double* const of_panel = d + panel.rows_before;
    panel.for_each_piece(b, from, to, [=](std::int64_t i, const RowPiece& piece) {
      of_panel[i] += dot_product(piece, w);
    });
  }
}

}  // namespace

// Every sum has one owner and a fixed order: a row's sum goes over the blocks in order, a point's
// over the rows in order. Results are the same to the last bit for any number of threads.

void CALC_GV(const SensitivityState& sens, View1<const double> w, View1<double> d) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
  const std::vector<std::int64_t> ranges = matrix.balanced_row_ranges(omp_get_max_threads());
  const auto parts = length(ranges) - 1;
  std::fill(d.begin(), d.end(), 0.0);
#pragma omp parallel for schedule(static, 1) default(none) shared(matrix, ranges, parts, w, d)
  for (std::int64_t part = 0; part < parts; ++part) {
    for (std::int64_t b = 0; b < matrix.blocks(); ++b) {
      accumulate_rows(matrix, b, ranges[as_size(part)], ranges[as_size(part + 1)],
                      w.data() + b * matrix.block_points(), d.data());
    }
  }
}

void CALC_GTV(const SensitivityState& sens, View1<const double> d, View1<double> w) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(matrix, w, d)
  for (std::int64_t b = 0; b < matrix.blocks(); ++b) {
    const std::int64_t first = b * matrix.block_points();
    double* const slice = w.data() + first;
    std::fill_n(slice, std::min(matrix.block_points(), w.size() - first), 0.0);
    for (const SparsePanel& panel : matrix.panels()) {
      const double* const of_panel = d.data() + panel.rows_before;
      panel.for_each_piece(b, 0, panel.rows, [=](std::int64_t i, const RowPiece& piece) {
        scatter_add(piece, of_panel[i], slice);
      });
    }
  }
}

void CALC_GTGV(const SensitivityState& sens, View1<double> w) {
  std::vector<double> work = allocate<double>(as_size(sens.ndata), "CALC_GTGV");
  CALC_GV(sens, w, work);
  CALC_GTV(sens, work, w);
}

}  // namespace quorivex::SPARSE_SENS_MOD
