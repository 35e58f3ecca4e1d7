// SPDX-License-Identifier: GPL-3.0-or-later
#include "sensitivity/sparse_sens_mod.h"

#include <algorithm>
#include <cmath>

#include "base/private_sums.h"

namespace quorivex::SPARSE_SENS_MOD {
namespace {

/// The entries first .. last-1 of a row, from 0; none when first >= last.
struct Piece {
  std::int64_t first;
  std::int64_t last;
};

Piece piece_of_row(std::int64_t nnz, std::int32_t nchunk, std::int32_t c) {
  const auto pieces = static_cast<double>(nchunk);
  const auto size = static_cast<std::int64_t>(std::ceil(static_cast<double>(nnz) / pieces));
  return {(c - 1) * size, std::min(c * size, nnz)};
}

double dot_of_piece(const SparseRow& row, Piece piece, const double* w) {
  const float* values = row.values.data();
  const std::int32_t* positions = row.positions.data();
  double sum = 0.0;
  for (std::int64_t k = piece.first; k < piece.last; ++k) {
    sum += static_cast<double>(values[k]) * w[positions[k] - 1];
  }
  return sum;
}

void add_piece(const SparseRow& row, Piece piece, double t, double* p) {
  const float* values = row.values.data();
  const std::int32_t* positions = row.positions.data();
  for (std::int64_t k = piece.first; k < piece.last; ++k) {
    p[positions[k] - 1] += static_cast<double>(values[k]) * t;
  }
}

}  // namespace

// The pieces go to the threads in contiguous shares, the same part of every row: the bits of a
// result depend on the thread count alone, and where there is a piece a thread the work is even.

void CALC_GV(const SensitivityState& sens, View1<const double> w, View1<double> d) {
  PrivateSums sums(d.size(), "CALC_GV");
#pragma omp parallel default(none) shared(sens, w, sums)
  {
    const View1<double> p = sums.of_this_thread();
#pragma omp for schedule(static)
    for (std::int32_t c = 1; c <= sens.nchunk; ++c) {
      for (std::int32_t i = 1; i <= sens.ndata; ++i) {
        const SparseRow row = sens.Gs(i);
        p(i) += dot_of_piece(row, piece_of_row(row.values.size(), sens.nchunk, c), w.data());
      }
    }
  }
  sums.add_up(d);
}

void CALC_GTV(const SensitivityState& sens, View1<const double> d, View1<double> w) {
  PrivateSums sums(w.size(), "CALC_GTV");
#pragma omp parallel default(none) shared(sens, d, sums)
  {
    const View1<double> p = sums.of_this_thread();
#pragma omp for schedule(static)
    for (std::int32_t c = 1; c <= sens.nchunk; ++c) {
      for (std::int32_t i = 1; i <= sens.ndata; ++i) {
        const SparseRow row = sens.Gs(i);
        add_piece(row, piece_of_row(row.values.size(), sens.nchunk, c), d(i), p.data());
      }
    }
  }
  sums.add_up(w);
}

void CALC_GTGV(const SensitivityState& sens, View1<double> w) {
  std::vector<double> work = allocate<double>(as_size(sens.ndata), "CALC_GTGV");
  CALC_GV(sens, w, work);
  CALC_GTV(sens, work, w);
}

}  // namespace quorivex::SPARSE_SENS_MOD
