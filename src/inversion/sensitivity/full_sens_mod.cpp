// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/full_sens_mod.h"

#include <omp.h>

#include <algorithm>
#include <cstring>

#include "base/multiversion.h"
#include "base/phase_times.h"
#include "base/stop_run.h"

namespace quorivex::FULL_SENS_MOD {
namespace {

// The piece of the model that belongs to a slice of so many cells, 128 KiB, stays in a core's own
// cache while all rows pass.
constexpr std::int64_t kSliceCells = 16384;
// Rows are taken four at a time: one load of the model serves four rows, and four independent
// sums keep the arithmetic ahead of the memory.
constexpr std::int64_t kRows = 4;
constexpr std::int64_t kGroupRows = 64 * kRows;  // share a slice out where cells are few
constexpr std::int64_t kStep = 16;  // cells, of which a row's coefficients fill a cache line

/// Four rows' pieces of a slice.
struct FourRows {
  FourRows(const float* g, std::int64_t stride)
      : g0(g), g1(g + stride), g2(g1 + stride), g3(g2 + stride) {}

  /// Prefetches the coefficients some steps after j. The processor's own look-ahead ends at every
  /// page, and the four rows are four streams.
  void fetch_ahead(std::int64_t j) const {
    constexpr std::int64_t kAhead = 256;
    __builtin_prefetch(g0 + j + kAhead);
    __builtin_prefetch(g1 + j + kAhead);
    __builtin_prefetch(g2 + j + kAhead);
    __builtin_prefetch(g3 + j + kAhead);
  }

  const float* g0;
  const float* g1;
  const float* g2;
  const float* g3;
};

/// Eight sums side by side, as wide as the widest vectors. Spelt as vectors, since the compiler
/// makes none of loops over arrays that are to stay in registers.
using Sums = double __attribute__((vector_size(64)));
constexpr std::int64_t kSums = 8;

/// s += g(k) x(k) for eight neighbours.
inline void add_products(const float* g, const double* x, Sums& s) {
  using Floats = float __attribute__((vector_size(32)));
  Floats coefficients;
  Sums cells;
  std::memcpy(&coefficients, g, sizeof(coefficients));
  std::memcpy(&cells, x, sizeof(cells));
  s += __builtin_convertvector(coefficients, Sums) * cells;
}

double total_of(const Sums& s) {
  return ((s[0] + s[4]) + (s[1] + s[5])) + ((s[2] + s[6]) + (s[3] + s[7]));
}

/// p(i) = the dot product of the slice's piece of row i with x, for every row.
/// `g` is the slice's piece of the first row, rows lie `stride` apart.
QUORIVEX_MULTIVERSIONED
void dot_products(const float* g, std::int64_t stride, std::int64_t rows, const double* x,
                  std::int64_t count, double* p) {
  std::int64_t i = 0;
  for (; i + kRows <= rows; i += kRows, g += kRows * stride) {
    const FourRows at(g, stride);
    Sums s0{};
    Sums s1{};
    Sums s2{};
    Sums s3{};
    std::int64_t j = 0;
    for (; j + kStep <= count; j += kStep) {
      at.fetch_ahead(j);
      for (std::int64_t half = j; half < j + kStep; half += kSums) {
        add_products(at.g0 + half, x + half, s0);
        add_products(at.g1 + half, x + half, s1);
        add_products(at.g2 + half, x + half, s2);
        add_products(at.g3 + half, x + half, s3);
      }
    }
    for (; j < count; ++j) {
      s0[0] += static_cast<double>(at.g0[j]) * x[j];
      s1[0] += static_cast<double>(at.g1[j]) * x[j];
      s2[0] += static_cast<double>(at.g2[j]) * x[j];
      s3[0] += static_cast<double>(at.g3[j]) * x[j];
    }
    p[i] = total_of(s0);
    p[i + 1] = total_of(s1);
    p[i + 2] = total_of(s2);
    p[i + 3] = total_of(s3);
  }
  for (; i < rows; ++i, g += stride) {
    double s = 0.0;
#pragma omp simd reduction(+ : s)
    for (std::int64_t j = 0; j < count; ++j) s += static_cast<double>(g[j]) * x[j];
    p[i] = s;
  }
}

/// x(j) += the sum over the rows, in order, of the row's entry at j times d(row).
QUORIVEX_MULTIVERSIONED
void add_weighted_rows(const float* g, std::int64_t stride, std::int64_t rows, const double* d,
                       std::int64_t count, double* x) {
  std::int64_t i = 0;
  for (; i + kRows <= rows; i += kRows, g += kRows * stride) {
    const FourRows at(g, stride);
    const double d0 = d[i];
    const double d1 = d[i + 1];
    const double d2 = d[i + 2];
    const double d3 = d[i + 3];
    const auto add = [&](std::int64_t j) {
      double sum = x[j] + static_cast<double>(at.g0[j]) * d0;
      sum += static_cast<double>(at.g1[j]) * d1;
      sum += static_cast<double>(at.g2[j]) * d2;
      x[j] = sum + static_cast<double>(at.g3[j]) * d3;
    };
    std::int64_t j = 0;
    for (; j + kStep <= count; j += kStep) {
      at.fetch_ahead(j);
#pragma omp simd
      for (std::int64_t k = j; k < j + kStep; ++k) add(k);
    }
    for (; j < count; ++j) add(j);
  }
  for (; i < rows; ++i, g += stride) {
    const double weight = d[i];
#pragma omp simd
    for (std::int64_t j = 0; j < count; ++j) x[j] += static_cast<double>(g[j]) * weight;
  }
}

}  // namespace

// A datum's sum goes over the slices of cells in order, whose ends depend on the matrix alone; a
// cell's goes over the rows in order.

void CALC_FULL_GV(const SensitivityState& sens, View1<const double> x, View1<double> d) {
  const PhaseTimer timer(Phase::matrix);
  const std::int64_t slices = (sens.nsens + kSliceCells - 1) / kSliceCells;
  const std::int64_t groups = (d.size() + kGroupRows - 1) / kGroupRows;
  UninitializedArray<double> sums(slices * d.size(), "CALC_FULL_GV");
#pragma omp parallel for collapse(2) schedule(dynamic, 1) default(none) \
    shared(sens, x, d, slices, groups, sums)
  for (std::int64_t slice = 0; slice < slices; ++slice) {
    for (std::int64_t group = 0; group < groups; ++group) {
      const std::int64_t cell = slice * kSliceCells;
      const std::int64_t row = group * kGroupRows;
      dot_products(sens.Gfull.row(row + 1) + cell, sens.nsens,
                   std::min(std::int64_t{kGroupRows}, d.size() - row), x.data() + cell,
                   std::min(std::int64_t{kSliceCells}, sens.nsens - cell),
                   sums.data() + slice * d.size() + row);
    }
  }
#pragma omp parallel for schedule(static) default(none) shared(d, slices, sums)
  for (std::int64_t i = 0; i < d.size(); ++i) {
    double sum = 0.0;
    for (std::int64_t slice = 0; slice < slices; ++slice) sum += sums.data()[slice * d.size() + i];
    d.data()[i] = sum;
  }
}

void CALC_FULL_GTV(const SensitivityState& sens, View1<const double> d, View1<double> x) {
  const PhaseTimer timer(Phase::matrix);
  // Narrower slices where the cells are few, so that every thread has several.
  const std::int64_t share = sens.nsens / (4 * omp_get_max_threads()) / kStep * kStep;
  const std::int64_t slice = std::clamp(share, 8 * kStep, kSliceCells);
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(sens, d, x, slice)
  for (std::int64_t cell = 0; cell < sens.nsens; cell += slice) {
    const std::int64_t count = std::min<std::int64_t>(slice, sens.nsens - cell);
    std::fill_n(x.data() + cell, count, 0.0);
    add_weighted_rows(sens.Gfull.row(1) + cell, sens.nsens, d.size(), d.data(), count,
                      x.data() + cell);
  }
}

void CALC_FULL_GTGV(const SensitivityState& sens, View1<const double> x, View1<double> y) {
  std::vector<double> t = allocate<double>(as_size(sens.ndata), "CALC_FULL_GTGV");
  CALC_FULL_GV(sens, x, t);
  CALC_FULL_GTV(sens, t, y);
}

}  // namespace quorivex::FULL_SENS_MOD
