// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/weighted_derivatives.h"

namespace quorivex {
namespace {

constexpr std::size_t at(int index) { return static_cast<std::size_t>(index); }

/// H of a derivative H / r^(2 n + 1) of 1/r, where n is the degree of H.
struct Harmonic {
  int degree = 0;
  std::array<double, monomials(kMaxDegree)> c{1.0};
};

/// d/dx of H / r^(2 n + 1) is (r^2 dH/dx - (2 n + 1) x H) / r^(2 n + 3); y is axis 1, z axis 2.
Harmonic derivative(const Harmonic& h, int axis) {
  Harmonic d{.degree = h.degree + 1, .c = {}};
  const auto add = [&](const std::array<int, 3>& powers, double c) {
    d.c[at(monomial(d.degree, powers[1], powers[2]))] += c;
  };
  for (int s = 0; s <= h.degree; ++s) {
    for (int q = 0; q <= h.degree - s; ++q) {
      const double c = h.c[at(monomial(h.degree, q, s))];
      std::array<int, 3> powers{h.degree - s - q, q, s};
      const int power = powers[at(axis)]++;
      add(powers, -(2.0 * h.degree + 1.0) * c);
      if (power == 0) continue;
      powers[at(axis)] = power - 1;
      for (int& one : powers) {
        one += 2;
        add(powers, power * c);
        one -= 2;
      }
    }
  }
  return d;
}

using Components = std::array<Harmonic, 6>;  // ee, nn, uu, en, eu, nu

/// The second derivatives of (d/dx)^(2 a) (d/dy)^(2 b) of 1/r.
Components second_derivatives(int a, int b) {
  Harmonic h;
  for (int i = 0; i < 2 * a; ++i) h = derivative(h, 0);
  for (int i = 0; i < 2 * b; ++i) h = derivative(h, 1);
  const Harmonic east = derivative(h, 0);
  const Harmonic north = derivative(h, 1);
  return {derivative(east, 0), derivative(north, 1), derivative(derivative(h, 2), 2),
          derivative(east, 1), derivative(east, 2),  derivative(north, 2)};
}

/// Of the terms m, the derivatives for a = 0 to m and b = m - a.
using DerivativeTable = std::array<std::array<Components, kMaxTerms>, kMaxTerms>;

const DerivativeTable& derivative_table() {
  static const DerivativeTable table = [] {
    DerivativeTable made;
    for (int m = 0; m < kMaxTerms; ++m) {
      for (int a = 0; a <= m; ++a) made[at(m)][at(a)] = second_derivatives(a, m - a);
    }
    return made;
  }();
  return table;
}

/// The mean of exp(u d/dx) over |u| <= w/2 has the terms w^(2 n) / (4^n (2 n + 1)!) (d/dx)^(2 n).
constexpr std::array<double, kMaxTerms> kMean{1.0, 1.0 / 24.0, 1.0 / 1920.0, 1.0 / 322560.0,
                                              1.0 / 92897280.0};
constexpr double kBinomial[kMaxTerms][kMaxTerms] = {
    {1, 0, 0, 0, 0}, {1, 1, 0, 0, 0}, {1, 2, 1, 0, 0}, {1, 3, 3, 1, 0}, {1, 4, 6, 4, 1}};

}  // namespace

WeightedDerivatives::WeightedDerivatives(const TensorWeights& w) {
  const std::array<double, 6> weights{w.ee, w.nn, w.uu, w.en, w.eu, w.nu};
  double* to = coefficients.data();
  for (int m = 0; m < kMaxTerms; ++m) {
    const int count = monomials(degree_of(m));
    for (int g = 0; g <= m; ++g) {
      for (int a = 0; a + g <= m; ++a, to += count) {
        const double mean = kMean[at(g)] * kMean[at(a)] * kMean[at(m - g - a)];
        // (d/dz)^2 = -(d/dx)^2 - (d/dy)^2, since 1/r is harmonic.
        for (int l = 0; l <= g; ++l) {
          const double factor = (g % 2 == 0 ? mean : -mean) * kBinomial[g][l];
          const Components& components = derivative_table()[at(m)][at(a + l)];
          for (std::size_t n = 0; n < weights.size(); ++n) {
            for (int c = 0; c < count; ++c) to[c] += factor * weights[n] * components[n].c[at(c)];
          }
        }
      }
    }
  }
}

}  // namespace quorivex
