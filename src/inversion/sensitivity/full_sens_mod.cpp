// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/full_sens_mod.h"

#include <algorithm>
#include <cstring>

#include "base/fixed_tree.h"
#include "base/multiversion.h"
#include "base/phase_times.h"
#include "base/stop_run.h"
#include "inversion/sensitivity/exact_sums.h"

namespace quorivex::FULL_SENS_MOD {
namespace {

// The piece of the model that belongs to a slice of so many cells, 128 KiB, stays in a core's own
// cache while all rows pass.
constexpr std::int64_t kSliceCells = 16384;
static_assert(kSliceCells % FullMatrix::kGranule == 0);
// Rows are taken four at a time: one load of the model serves four rows, and four independent
// sums keep the arithmetic ahead of the memory.
constexpr std::int64_t kRows = 4;
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

/// sums(i) += the dot product of the slice's piece of row i with x, granule by granule in multiples
/// of the row's unit, for every row. `g` is the slice's piece of the first row, rows lie `stride`
/// apart.
QUORIVEX_MULTIVERSIONED
void add_dot_products(const float* g, std::int64_t stride, std::int64_t rows, const double* x,
                      std::int64_t count, const double* scales, std::int64_t* sums) {
  std::int64_t i = 0;
  for (; i + kRows <= rows; i += kRows, g += kRows * stride) {
    const FourRows at(g, stride);
    for (std::int64_t j = 0; j < count;) {
      const std::int64_t end = std::min(j + FullMatrix::kGranule, count);
      Sums s0{};
      Sums s1{};
      Sums s2{};
      Sums s3{};
      for (; j + kStep <= end; j += kStep) {
        at.fetch_ahead(j);
        for (std::int64_t half = j; half < j + kStep; half += kSums) {
          add_products(at.g0 + half, x + half, s0);
          add_products(at.g1 + half, x + half, s1);
          add_products(at.g2 + half, x + half, s2);
          add_products(at.g3 + half, x + half, s3);
        }
      }
      for (; j < end; ++j) {
        s0[0] += static_cast<double>(at.g0[j]) * x[j];
        s1[0] += static_cast<double>(at.g1[j]) * x[j];
        s2[0] += static_cast<double>(at.g2[j]) * x[j];
        s3[0] += static_cast<double>(at.g3[j]) * x[j];
      }
      sums[i] += to_units(total_of(s0), scales[i]);
      sums[i + 1] += to_units(total_of(s1), scales[i + 1]);
      sums[i + 2] += to_units(total_of(s2), scales[i + 2]);
      sums[i + 3] += to_units(total_of(s3), scales[i + 3]);
    }
  }
  for (; i < rows; ++i, g += stride) {
    for (std::int64_t j = 0; j < count;) {
      const std::int64_t end = std::min(j + FullMatrix::kGranule, count);
      double s = 0.0;
#pragma omp simd reduction(+ : s)
      for (std::int64_t k = j; k < end; ++k) s += static_cast<double>(g[k]) * x[k];
      sums[i] += to_units(s, scales[i]);
      j = end;
    }
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

/// A slice of cells and a group of rows, from 0.
struct Piece {
  std::int64_t slice;
  std::int64_t group;
  std::int64_t cell;  ///< the first
  std::int64_t cells;
  std::int64_t row;  ///< the first
  std::int64_t rows;
};

/// The pieces of a matrix, which depend on its sizes alone. A group has about a 64th of all
/// coefficients in a slice, and 16 rows at least: adding up the groups of a slice must cost little.
struct Pieces {
  explicit Pieces(const SensitivityState& sens)
      : nsens(sens.Gfull.nsens),
        ndata(sens.ndata),
        slices((nsens + kSliceCells - 1) / kSliceCells) {
    constexpr std::int64_t kPieces = 64;
    const std::int64_t all = sens.columns();  // of all processes: rows are grouped alike in each
    const std::int64_t rows =
        all * ndata / (kPieces * std::clamp<std::int64_t>(all, 1, kSliceCells));
    group_rows = std::max(rows >= ndata ? ndata : rows / kRows * kRows, 4 * kRows);
    groups = (ndata + group_rows - 1) / group_rows;
  }

  Piece operator()(std::int64_t number) const {
    const std::int64_t slice = number / groups;
    const std::int64_t group = number % groups;
    const std::int64_t cell = slice * kSliceCells;
    const std::int64_t row = group * group_rows;
    return {slice, group,
            cell,  std::min<std::int64_t>(kSliceCells, nsens - cell),
            row,   std::min(group_rows, ndata - row)};
  }
  std::int64_t count() const { return slices * groups; }

  std::int64_t nsens;
  std::int64_t ndata;
  std::int64_t slices;
  std::int64_t group_rows = 0;
  std::int64_t groups = 0;
};

}  // namespace

// A datum is summed exactly over granules of cells; a cell's sum goes over the rows of a group and
// then over the groups along a fixed tree.

void CALC_FULL_GV(const SensitivityState& sens, View1<const double> x, View1<double> d) {
  const PhaseTimer timer(Phase::matrix);
  const Pieces pieces(sens);
  ExactSums sums(sens.norms, largest_absolute(x), sens.part.team);
#pragma omp parallel default(none) shared(sens, pieces, x, sums)
  {
    std::int64_t* const of_thread = sums.begin_thread();
#pragma omp for schedule(dynamic, 1)
    for (std::int64_t number = 0; number < pieces.count(); ++number) {
      const Piece piece = pieces(number);
      add_dot_products(sens.Gfull.row(piece.row + 1) + piece.cell, sens.Gfull.nsens, piece.rows,
                       x.data() + piece.cell, piece.cells, sums.scales() + piece.row,
                       of_thread + piece.row);
    }
  }
  sums.finish(d);
}

void CALC_FULL_GTV(const SensitivityState& sens, View1<const double> d, View1<double> x) {
  const PhaseTimer timer(Phase::matrix);
  const Pieces pieces(sens);
  const bool add_up = pieces.groups > 1;
  UninitializedArray<double> work(add_up ? pieces.groups * x.size() : 0, "CALC_FULL_GTV");
  double* const sums = add_up ? work.data() : x.data();
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(sens, pieces, x, d, sums)
  for (std::int64_t number = 0; number < pieces.count(); ++number) {
    const Piece piece = pieces(number);
    double* const to = sums + piece.group * x.size() + piece.cell;
    std::fill_n(to, piece.cells, 0.0);
    add_weighted_rows(sens.Gfull.row(piece.row + 1) + piece.cell, sens.Gfull.nsens, piece.rows,
                      d.data() + piece.row, piece.cells, to);
  }
  if (add_up) sum_in_pairs(sums, pieces.groups, x.size(), x);
}

}  // namespace quorivex::FULL_SENS_MOD
