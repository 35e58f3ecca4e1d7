// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "base/stop_run.h"
#include "base/view1.h"
#include "inversion/mesh_io/row_sum.h"

namespace quorivex {

/// Called after each iteration with the number of iterations done and the relative residual.
using CgWatch = std::function<void(std::int32_t iterations, double residual)>;

/// When conjugate gradients stop, and who watches them.
struct CgControl {
  double tol = 0.0;        ///< relative residual below which they stop
  std::int32_t maxit = 0;  ///< maximum number of iterations
  CgWatch watch;
};

struct CgResult {
  std::int32_t iterations = 0;  ///< performed
  double residual = 0.0;        ///< |r| / |b| at the end
};

/// The two scalar products of a residual: r.r and r.P r.
struct ResidualSums {
  double square = 0.0;
  double rho = 0.0;

  ResidualSums& operator+=(const ResidualSums& other) {
    square += other.square;
    rho += other.rho;
    return *this;
  }
};

/// dm += a p, r -= a q, and the sums of the new residual, going over the vectors once.
ResidualSums update_solution_and_residual(double a, const RowPieces& rows, View1<const double> P,
                                          View1<const double> p, View1<const double> q,
                                          View1<double> dm, View1<double> r);

/// p = P r + ratio p
void update_direction(double ratio, View1<const double> P, View1<const double> r, View1<double> p);

double dot_product(const RowPieces& rows, View1<const double> a, View1<const double> b);

/// Preconditioned conjugate gradients for A dm = b from dm = 0, until the relative residual is
/// below `control.tol` or `control.maxit` iterations are done (Hestenes and Stiefel 1952, with
/// diagonal preconditioner P). A residual that is not a number, because a square overflowed, is not
/// below it. A right-hand side of zero leaves dm = 0. The bits of the sums depend neither on
/// threads nor on processes.
///
/// @param apply  apply(x, y) sets y = A x; A symmetric and positive definite on the free cells
/// @param rows   of the vectors: what sums go over
/// @param r      the right-hand side b on entry, the residual on return
template <class Apply>
CgResult conjugate_gradients(Apply apply, const RowPieces& rows, View1<const double> P,
                             const CgControl& control, View1<double> r, View1<double> dm) {
  // Both begin as zeros: the first step and the first direction take multiples of them.
  std::vector<double> direction = allocate<double>(as_size(r.size()), "linsolv");
  std::vector<double> product = allocate<double>(as_size(r.size()), "linsolv");
  const View1<double> p(direction);
  const View1<double> q(product);
  CgResult result;
  ResidualSums sums = update_solution_and_residual(0.0, rows, P, p, q, dm, r);
  const double bb = sums.square;
  if (bb == 0.0) return result;
  double rho_before = 1.0;
  while (result.iterations < control.maxit) {
    update_direction(sums.rho / std::exchange(rho_before, sums.rho), P, r, p);
    apply(p, q);
    sums = update_solution_and_residual(sums.rho / dot_product(rows, p, q), rows, P, p, q, dm, r);
    ++result.iterations;
    result.residual = std::sqrt(sums.square / bb);
    control.watch(result.iterations, result.residual);
    if (result.residual < control.tol) break;
  }
  return result;
}

}  // namespace quorivex
