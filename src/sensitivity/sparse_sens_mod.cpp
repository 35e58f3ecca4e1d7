// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/sparse_sens_mod.h"

#include <omp.h>

#include <algorithm>
#include <array>

#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex::SPARSE_SENS_MOD {
namespace {

constexpr std::uint32_t kStep = 16;  // coefficients, of which the values fill a cache line

/// Asks for the coefficients some steps further on, be they of this row or of the next ones. The
/// processor's own look-ahead ends at every page and reaches less than half the bandwidth.
void fetch_ahead(const std::uint16_t* positions, const float* values) {
  constexpr int kAhead = 512;
  __builtin_prefetch(positions + kAhead);
  __builtin_prefetch(values + kAhead);
}

/// The dot product of a row's part in a block with the block's part of the grid. Four sums, so that
/// an addition need not wait for the one before.
double dot_of_row(const std::uint16_t* positions, const float* values, std::uint32_t count,
                  const double* w) {
  std::array<double, 4> sums{};
  const auto add = [&](std::uint32_t k) {
    sums[k % 4] += static_cast<double>(values[k]) * w[positions[k]];
  };
  std::uint32_t k = 0;
  for (; k + kStep <= count; k += kStep) {
    fetch_ahead(positions + k, values + k);
    for (std::uint32_t j = 0; j < kStep; ++j) add(k + j);
  }
  if (k < count) fetch_ahead(positions + k, values + k);
  for (; k < count; ++k) add(k);
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

/// w += t times a row's part in a block. One addition after the other: a position may come twice.
void spread_row(const std::uint16_t* positions, const float* values, std::uint32_t count, double t,
                double* w) {
  const auto add = [&](std::uint32_t k) { w[positions[k]] += static_cast<double>(values[k]) * t; };
  std::uint32_t k = 0;
  for (; k + kStep <= count; k += kStep) {
    fetch_ahead(positions + k, values + k);
    for (std::uint32_t j = 0; j < kStep; ++j) add(k + j);
  }
  if (k < count) fetch_ahead(positions + k, values + k);
  for (; k < count; ++k) add(k);
}

/// d(i) += the part of row i in block b, for the panel's rows.
void add_rows(const SparsePanel& panel, std::int64_t b, const double* w, double* d) {
  const std::uint16_t* positions = panel.positions.data() + panel.starts[as_size(b)];
  const float* values = panel.values.data() + panel.starts[as_size(b)];
  const std::uint32_t* counts = panel.counts_of(b);
  for (std::int64_t i = 0; i < panel.rows; ++i) {
    d[i] += dot_of_row(positions, values, counts[i], w);
    positions += counts[i];
    values += counts[i];
  }
}

/// w += block b of S^T d for the panel's rows, in order.
void spread_rows(const SparsePanel& panel, std::int64_t b, const double* d, double* w) {
  const std::uint16_t* positions = panel.positions.data() + panel.starts[as_size(b)];
  const float* values = panel.values.data() + panel.starts[as_size(b)];
  const std::uint32_t* counts = panel.counts_of(b);
  for (std::int64_t i = 0; i < panel.rows; ++i) {
    spread_row(positions, values, counts[i], d[i], w);
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
  const std::vector<std::int64_t> shares = matrix.even_shares(omp_get_max_threads());
  const auto parts = length(shares) - 1;
  std::fill(d.begin(), d.end(), 0.0);
#pragma omp parallel for schedule(static, 1) default(none) shared(matrix, shares, parts, w, d)
  for (std::int64_t part = 0; part < parts; ++part) {
    for (std::int64_t b = 0; b < matrix.blocks(); ++b) {
      for (std::int64_t p = shares[as_size(part)]; p < shares[as_size(part + 1)]; ++p) {
        const SparsePanel& panel = matrix.panels()[as_size(p)];
        add_rows(panel, b, w.data() + b * matrix.block_points(), d.data() + panel.rows_before);
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
      spread_rows(panel, b, d.data() + panel.rows_before, slice);
    }
  }
}

void CALC_GTGV(const SensitivityState& sens, View1<double> w) {
  std::vector<double> work = allocate<double>(as_size(sens.ndata), "CALC_GTGV");
  CALC_GV(sens, w, work);
  CALC_GTV(sens, work, w);
}

}  // namespace quorivex::SPARSE_SENS_MOD
