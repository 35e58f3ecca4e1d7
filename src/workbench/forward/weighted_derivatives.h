// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>

#include "workbench/forward/field_directions.h"

namespace quorivex {

/// Terms of the expansion of a cell; term m holds the derivatives of order 2 m + 2 of 1/r
/// (docs/theory.md, equations 7 and 8).
inline constexpr int kMaxTerms = 5;

inline constexpr int kMaxDegree = 2 * kMaxTerms;

constexpr int degree_of(int term) { return 2 * term + 2; }

/// The monomials x^p y^q z^s of a degree are ordered by s, and those of an s by q.
constexpr int monomials(int degree) { return (degree + 1) * (degree + 2) / 2; }
constexpr int monomial(int degree, int q, int s) { return s * (degree + 1) - s * (s - 1) / 2 + q; }

/// Polynomials of a term in WeightedDerivatives: by g, and those of a g by a.
constexpr int polynomials(int term) { return (term + 1) * (term + 2) / 2; }

/// Coefficients of the terms before one in WeightedDerivatives.
constexpr int derivatives_before(int term) {
  int count = 0;
  for (int m = 0; m < term; ++m) count += polynomials(m) * monomials(degree_of(m));
  return count;
}

/// The derivatives of 1/r that a datum needs, contracted with its weights: of each term m, for each
/// power g of the squared thickness and a of the squared width along easting (a + g <= m), the
/// coefficients of a homogeneous polynomial of degree 2 m + 2 in the offsets of the cell.
struct WeightedDerivatives {
  static constexpr int kSize = derivatives_before(kMaxTerms);

  explicit WeightedDerivatives(const TensorWeights& weights);

  std::array<double, kSize> coefficients{};
};

}  // namespace quorivex
