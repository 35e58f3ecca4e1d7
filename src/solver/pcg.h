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

namespace quorivex {

/// Told the iterations done and the relative residual after each iteration.
using CgWatch = std::function<void(std::int32_t iterations, double residual)>;

struct CgResult {
  std::int32_t iterations = 0;  ///< performed
  double residual = 0.0;        ///< |r| / |b| at the end
};

/// Preconditioned conjugate gradients for A dm = b from dm = 0, until the relative residual is
/// below `tol` or `maxit` iterations are done (Hestenes and Stiefel 1952, with diagonal
/// preconditioner P). A right-hand side of zero leaves dm = 0.
///
/// @param apply  apply(x, y) sets y = A x; A symmetric and positive definite on the free cells
/// @param r      the right-hand side b on entry, the residual on return
template <class Apply>
CgResult conjugate_gradients(Apply apply, View1<const double> P, double tol, std::int32_t maxit,
                             const CgWatch& watch, View1<double> r, View1<double> dm) {
  const std::int64_t n = r.size();
  const auto dot = [n](View1<const double> a, View1<const double> b) {
    double sum = 0.0;
    for (std::int64_t i = 1; i <= n; ++i) sum += a(i) * b(i);
    return sum;
  };
  CgResult result;
  const double bb = dot(r, r);
  if (bb == 0.0) return result;
  std::vector<double> direction = allocate<double>(as_size(n), "linsolv");
  std::vector<double> product = allocate<double>(as_size(n), "linsolv");
  const View1<double> p(direction);
  const View1<double> q(product);
  double rho_before = 1.0;
  while (result.iterations < maxit) {
    double rho = 0.0;
    for (std::int64_t i = 1; i <= n; ++i) rho += P(i) * r(i) * r(i);
    const double ratio = rho / std::exchange(rho_before, rho);
    for (std::int64_t i = 1; i <= n; ++i) p(i) = P(i) * r(i) + ratio * p(i);
    apply(p, q);
    const double a = rho / dot(p, q);
    for (std::int64_t i = 1; i <= n; ++i) {
      dm(i) += a * p(i);
      r(i) -= a * q(i);
    }
    ++result.iterations;
    result.residual = std::sqrt(dot(r, r) / bb);
    watch(result.iterations, result.residual);
    // Written so that a residual that is no number ends the iteration too: it will not improve.
    if (!(result.residual >= tol)) break;
  }
  return result;
}

}  // namespace quorivex
