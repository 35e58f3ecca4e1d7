// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/sparse_sens_mod.h"

#include <omp.h>

#include <algorithm>

#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex::SPARSE_SENS_MOD {
namespace {

/// The dot product of a row's part in a block with the block's part of the grid. Four sums, so that
/// an addition need not wait for the one before.
double dot_of_row(const std::uint16_t* positions, const float* values, std::uint32_t count,
                  const double* w) {
  double s0 = 0.0;
  double s1 = 0.0;
  double s2 = 0.0;
  double s3 = 0.0;
  std::uint32_t k = 0;
  for (; k + 4 <= count; k += 4) {
    s0 += static_cast<double>(values[k]) * w[positions[k]];
    s1 += static_cast<double>(values[k + 1]) * w[positions[k + 1]];
    s2 += static_cast<double>(values[k + 2]) * w[positions[k + 2]];
    s3 += static_cast<double>(values[k + 3]) * w[positions[k + 3]];
  }
  for (; k < count; ++k) s0 += static_cast<double>(values[k]) * w[positions[k]];
  return (s0 + s1) + (s2 + s3);
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
    const double t = d[i];
    const std::uint32_t count = counts[i];
    for (std::uint32_t k = 0; k < count; ++k) {
      w[positions[k]] += static_cast<double>(values[k]) * t;
    }
    positions += count;
    values += count;
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
