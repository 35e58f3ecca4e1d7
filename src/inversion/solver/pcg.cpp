// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/solver/pcg.h"

#include "base/phase_times.h"

namespace quorivex {
namespace {

constexpr const char* kPcgRoutine = "linsolv";

}  // namespace

ResidualSums update_solution_and_residual(double a, const RowPieces& rows, View1<const double> P,
                                          View1<const double> p, View1<const double> q,
                                          View1<double> dm, View1<double> r) {
  const PhaseTimer timer(Phase::vectors);
  return row_sum<ResidualSums>(rows, kPcgRoutine, [&](std::int64_t first, std::int64_t last) {
    double square = 0.0;
    double rho = 0.0;
#pragma omp simd reduction(+ : square, rho)
    for (std::int64_t i = first; i < last; ++i) {
      dm.data()[i] += a * p.data()[i];
      const double left = r.data()[i] - a * q.data()[i];
      r.data()[i] = left;
      square += left * left;
      rho += P.data()[i] * left * left;
    }
    return ResidualSums{square, rho};
  });
}

void update_direction(double ratio, View1<const double> P, View1<const double> r, View1<double> p) {
  const PhaseTimer timer(Phase::vectors);
#pragma omp parallel for simd schedule(static) default(none) shared(ratio, P, r, p)
  for (std::int64_t i = 0; i < r.size(); ++i) {
    p.data()[i] = P.data()[i] * r.data()[i] + ratio * p.data()[i];
  }
}

double dot_product(const RowPieces& rows, View1<const double> a, View1<const double> b) {
  const PhaseTimer timer(Phase::vectors);
  return row_sum<double>(rows, kPcgRoutine, [&](std::int64_t first, std::int64_t last) {
    double sum = 0.0;
#pragma omp simd reduction(+ : sum)
    for (std::int64_t i = first; i < last; ++i) sum += a.data()[i] * b.data()[i];
    return sum;
  });
}

}  // namespace quorivex
