// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/exact_sums.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/multiversion.h"
#include "base/stop_run.h"
#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr int kNormBits = 20;  // a part of a norm is rounded up to 2^-20 of the row's largest value
constexpr int kSumBits = 62;
constexpr int kMaxExponent = 1023;  // of a scale: 2^-1023 is exact too

using Doubles = double __attribute__((vector_size(64), aligned(8)));
constexpr std::int64_t kLanes = 8;

QUORIVEX_MULTIVERSIONED
double largest_of(const double* values, std::int64_t count) {
  Doubles most{};
  Doubles not_finite{};  // becomes NaN
  std::int64_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    // Not auto, with which the alignment of the name is lost in clang.
    const Doubles& x = *reinterpret_cast<const Doubles*>(values + i);
    const Doubles size = x < 0.0 ? -x : x;
    most = size > most ? size : most;
    not_finite += x * 0.0;
  }
  for (; i < count; ++i) {
    most[0] = std::max(most[0], std::abs(values[i]));
    not_finite[0] += values[i] * 0.0;
  }
  double largest = 0.0;
  for (std::int64_t lane = 0; lane < kLanes; ++lane) {
    const double of_lane = most[lane];
    largest = std::max(largest, not_finite[lane] == 0.0 ? of_lane : kInfinite);
  }
  return largest;
}

QUORIVEX_MULTIVERSIONED
void add_units(const double* values, const double* scales, std::int64_t count, std::int64_t* sums) {
#pragma omp simd
  for (std::int64_t i = 0; i < count; ++i) sums[i] += to_units(values[i], scales[i]);
}

/// The largest absolute value and the sum of absolute values; both infinite or NaN where one is.
struct Sizes {
  double largest = 0.0;
  double sum = 0.0;
};

QUORIVEX_MULTIVERSIONED
Sizes sizes_of(const float* values, std::int64_t count) {
  float largest = 0.0F;
  double sum = 0.0;
#pragma omp simd reduction(max : largest) reduction(+ : sum)
  for (std::int64_t i = 0; i < count; ++i) {
    const float size = std::abs(values[i]);
    largest = size > largest ? size : largest;
    sum += static_cast<double>(size);
  }
  return {largest, sum};
}

/// Calls visit(row, sizes) for the rows' parts in the blocks.
template <class Visit>
void for_each_part(const SparseMatrix& matrix, Visit visit) {
  const std::vector<SparsePanel>& panels = matrix.panels();
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(panels, visit)
  for (const SparsePanel& panel : panels) {
    const float* value = panel.values.data();
    for (const RowPiece& piece : panel.pieces.view()) {
      visit(panel.rows_before + piece.row, sizes_of(value, piece.count));
      value += piece.count;
    }
  }
}

template <class Visit>
void for_each_part(const FullMatrix& matrix, std::int64_t rows, Visit visit) {
#pragma omp parallel for schedule(static) default(none) shared(matrix, rows, visit)
  for (std::int64_t row = 0; row < rows; ++row) {
    const float* const values = matrix.row(row + 1);
    for (std::int64_t j = 0; j < matrix.nsens; j += FullMatrix::kGranule) {
      visit(row, sizes_of(values + j, std::min(FullMatrix::kGranule, matrix.nsens - j)));
    }
  }
}

/// `for_all(visit)` visits the parts of all rows.
template <class ForAll>
std::vector<double> norms_of(std::int64_t rows, ranks::Team team, ForAll for_all) {
  std::vector<double> largest = allocate<double>(as_size(rows), "getpar");
  std::vector<std::int64_t> units = allocate<std::int64_t>(as_size(rows), "getpar");
  for_all([&](std::int64_t row, const Sizes& part) {
    double& of_row = largest[as_size(row)];
    of_row = std::max(of_row, std::isfinite(part.sum) ? part.largest : kInfinite);
  });
  if (team == ranks::Team::all) ranks::max(largest);
  for_all([&](std::int64_t row, const Sizes& part) {
    const double of_row = largest[as_size(row)];
    if (!(of_row > 0.0 && of_row < kInfinite)) return;
    units[as_size(row)] +=
        static_cast<std::int64_t>(std::ceil(std::ldexp(part.sum / of_row, kNormBits)));
  });
  if (team == ranks::Team::all) ranks::sum(units);
  std::transform(units.begin(), units.end(), largest.begin(), largest.begin(),
                 [](std::int64_t count, double of_row) {
                   return of_row == kInfinite
                              ? std::numeric_limits<double>::quiet_NaN()
                              : std::ldexp(static_cast<double>(count) * of_row, -kNormBits);
                 });
  return largest;
}

/// The largest e for which bound 2^e is at most 2^62. The bound is finite and greater than 0.
int exponent_for(double bound) {
  int power = 0;
  const bool exact = std::frexp(bound, &power) == 0.5;
  return std::min(kSumBits - power + (exact ? 1 : 0), kMaxExponent);
}

}  // namespace

std::vector<double> row_norms(const SparseMatrix& matrix, ranks::Team team) {
  return norms_of(matrix.rows(), team, [&](auto visit) { for_each_part(matrix, visit); });
}

std::vector<double> row_norms(const FullMatrix& matrix, std::int64_t rows, ranks::Team team) {
  return norms_of(rows, team, [&](auto visit) { for_each_part(matrix, rows, visit); });
}

double largest_absolute(View1<const double> values) {
  constexpr std::int64_t kTogether = 16384;
  const std::int64_t n = values.size();
  double largest = 0.0;
#pragma omp parallel for schedule(static) reduction(max : largest) default(none) shared(values, n)
  for (std::int64_t first = 0; first < n; first += kTogether) {
    largest = std::max(
        largest, largest_of(values.data() + first, std::min(std::int64_t{kTogether}, n - first)));
  }
  return largest;
}

ExactSums::ExactSums(View1<const double> norms, double largest, ranks::Team team)
    : norms_(norms),
      largest_(team == ranks::Team::all ? ranks::max(largest) : largest),
      team_(team),
      threads_(omp_get_max_threads()),
      scales_(norms.size(), "gprod"),
      sums_(threads_ * norms.size(), "gprod") {
  std::transform(norms.begin(), norms.end(), scales_.data(), [&](double norm) {
    const double bound = norm * largest_;
    return bound > 0.0 && bound < kInfinite ? std::ldexp(1.0, exponent_for(bound)) : 0.0;
  });
}

std::int64_t* ExactSums::begin_thread() {
  const int thread = omp_get_thread_num();
  if (thread == 0) threads_ = omp_get_num_threads();
  std::int64_t* const sums = sums_.data() + thread * norms_.size();
  std::fill_n(sums, norms_.size(), 0);
  return sums;
}

void ExactSums::add(const ranks::Share& rows, const double* values, std::int64_t* of_thread) const {
  add_units(values + rows.begin, scales() + rows.begin, rows.size(), of_thread + rows.begin);
}

void ExactSums::finish(View1<double> d) {
  const std::int64_t n = norms_.size();
  std::int64_t* const sums = sums_.data();
#pragma omp parallel for schedule(static) default(none) shared(n, sums)
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t t = 1; t < threads_; ++t) sums[i] += sums[t * n + i];
  }
  if (team_ == ranks::Team::all) ranks::sum({sums, n});
  for (std::int64_t i = 0; i < n; ++i) {
    const double scale = scales_.data()[i];
    const bool zero = norms_.data()[i] * largest_ == 0.0;
    d.data()[i] = scale > 0.0 ? static_cast<double>(sums[i]) / scale
                  : zero      ? 0.0
                              : std::numeric_limits<double>::quiet_NaN();
  }
}

}  // namespace quorivex
