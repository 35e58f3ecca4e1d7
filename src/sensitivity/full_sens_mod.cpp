// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/full_sens_mod.h"

#include <omp.h>

#include <algorithm>

#include "base/for_this_processor.h"
#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex::FULL_SENS_MOD {
namespace {

constexpr std::int64_t kBlockCells = 10000;

/// The cells first+1 .. first+count; count is 0 for the blocks behind the last cell.
struct Block {
  std::int64_t first;
  std::int64_t count;
};

Block block_of_cells(std::int64_t b, std::int64_t nsens) {
  const std::int64_t first = std::min((b - 1) * kBlockCells, nsens);
  return {first, std::min(kBlockCells, nsens - first)};
}

// Rows are taken four at a time: one load of the model serves four rows, and four independent
// sums keep the arithmetic ahead of the memory.
constexpr std::int64_t kRows = 4;

/// p(i) += the dot product of the block's piece of row i with x, for every row.
/// `g` is the block's piece of the first row, rows lie `stride` apart.
QUORIVEX_FOR_THIS_PROCESSOR
void add_dot_products(const float* g, std::int64_t stride, std::int64_t rows, const double* x,
                      std::int64_t count, double* p) {
  std::int64_t i = 0;
  for (; i + kRows <= rows; i += kRows, g += kRows * stride) {
    const float* g0 = g;
    const float* g1 = g + stride;
    const float* g2 = g + 2 * stride;
    const float* g3 = g + 3 * stride;
    double s0 = 0.0;
    double s1 = 0.0;
    double s2 = 0.0;
    double s3 = 0.0;
#pragma omp simd reduction(+ : s0, s1, s2, s3)
    for (std::int64_t j = 0; j < count; ++j) {
      s0 += static_cast<double>(g0[j]) * x[j];
      s1 += static_cast<double>(g1[j]) * x[j];
      s2 += static_cast<double>(g2[j]) * x[j];
      s3 += static_cast<double>(g3[j]) * x[j];
    }
    p[i] += s0;
    p[i + 1] += s1;
    p[i + 2] += s2;
    p[i + 3] += s3;
  }
  for (; i < rows; ++i, g += stride) {
    double s = 0.0;
#pragma omp simd reduction(+ : s)
    for (std::int64_t j = 0; j < count; ++j) s += static_cast<double>(g[j]) * x[j];
    p[i] += s;
  }
}

/// x(j) += the sum over the rows, in order, of the row's entry at j times d(row).
QUORIVEX_FOR_THIS_PROCESSOR
void add_weighted_rows(const float* g, std::int64_t stride, std::int64_t rows, const double* d,
                       std::int64_t count, double* x) {
  std::int64_t i = 0;
  for (; i + kRows <= rows; i += kRows, g += kRows * stride) {
    const float* g0 = g;
    const float* g1 = g + stride;
    const float* g2 = g + 2 * stride;
    const float* g3 = g + 3 * stride;
    const double d0 = d[i];
    const double d1 = d[i + 1];
    const double d2 = d[i + 2];
    const double d3 = d[i + 3];
#pragma omp simd
    for (std::int64_t j = 0; j < count; ++j) {
      double sum = x[j] + static_cast<double>(g0[j]) * d0;
      sum += static_cast<double>(g1[j]) * d1;
      sum += static_cast<double>(g2[j]) * d2;
      x[j] = sum + static_cast<double>(g3[j]) * d3;
    }
  }
  for (; i < rows; ++i, g += stride) {
    const double weight = d[i];
#pragma omp simd
    for (std::int64_t j = 0; j < count; ++j) x[j] += static_cast<double>(g[j]) * weight;
  }
}

}  // namespace

// A datum's sum goes over the blocks of cells in order, a cell's over the rows in order, each by
// one thread: results are the same to the last bit for any number of threads.

void CALC_FULL_GV(const SensitivityState& sens, View1<const double> x, View1<double> d) {
  const PhaseTimer timer(Phase::matrix);
  std::fill(d.begin(), d.end(), 0.0);
  const std::int64_t fours = (d.size() + kRows - 1) / kRows;
#pragma omp parallel default(none) shared(sens, x, d, fours)
  {
    const std::int64_t threads = omp_get_num_threads();
    const std::int64_t first = fours * omp_get_thread_num() / threads * kRows;
    const std::int64_t last =
        std::min(fours * (omp_get_thread_num() + 1) / threads * kRows, d.size());
    for (std::int32_t b = 1; first < last && b <= sens.nblock; ++b) {
      const Block block = block_of_cells(b, sens.nsens);
      add_dot_products(sens.Gfull.row(first + 1) + block.first, sens.nsens, last - first,
                       x.data() + block.first, block.count, d.data() + first);
    }
  }
}

void CALC_FULL_GTV(const SensitivityState& sens, View1<const double> d, View1<double> x) {
  const PhaseTimer timer(Phase::matrix);
#pragma omp parallel for schedule(static) default(none) shared(sens, d, x)
  for (std::int32_t b = 1; b <= sens.nblock; ++b) {
    const Block block = block_of_cells(b, sens.nsens);
    double* piece = x.data() + block.first;
    std::fill_n(piece, block.count, 0.0);
    add_weighted_rows(sens.Gfull.row(1) + block.first, sens.nsens, d.size(), d.data(), block.count,
                      piece);
  }
}

void CALC_FULL_GTGV(const SensitivityState& sens, View1<const double> x, View1<double> y) {
  std::vector<double> t = allocate<double>(as_size(sens.ndata), "CALC_FULL_GTGV");
  CALC_FULL_GV(sens, x, t);
  CALC_FULL_GTV(sens, t, y);
}

}  // namespace quorivex::FULL_SENS_MOD
