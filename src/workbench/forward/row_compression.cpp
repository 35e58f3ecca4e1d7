// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/row_compression.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace quorivex {
namespace {

constexpr double kNothing = std::numeric_limits<double>::infinity();

/// The threshold that keeps the squares from `first` on; none of the others is larger.
CoefficientThreshold threshold_below(std::vector<double>::iterator first,
                                     std::vector<double>::iterator last) {
  if (first == last) return {kNothing, 0};
  const double square = *std::min_element(first, last);
  return {square, std::count(first, last, square)};
}

CoefficientThreshold within_energy(View1<const double> coefficients, double error,
                                   std::vector<double>& squares) {
  double energy = 0.0;
  for (const double c : coefficients) energy += c * c;
  const double budget = error * error * energy;
  // All coefficients this small fit into the budget together.
  const double surely_dropped = budget / static_cast<double>(coefficients.size());
  double dropped = 0.0;
  for (const double c : coefficients) {
    if (c * c <= surely_dropped) {
      dropped += c * c;
    } else {
      squares.push_back(c * c);
    }
  }
  // Bisection by size: what lies before `first` is dropped, what lies from `last` on is kept.
  auto first = squares.begin();
  auto last = squares.end();
  while (first != last) {
    const auto middle = first + (last - first) / 2;
    std::nth_element(first, middle, last);
    const double lower_half = std::accumulate(first, middle + 1, 0.0);
    if (dropped + lower_half <= budget) {
      dropped += lower_half;
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return threshold_below(first, squares.end());
}

CoefficientThreshold largest(View1<const double> coefficients, std::int64_t count,
                             std::vector<double>& squares) {
  for (const double c : coefficients) {
    if (c != 0.0) squares.push_back(c * c);
  }
  const auto first = squares.end() - std::min(count, length(squares));
  std::nth_element(squares.begin(), first, squares.end());
  return threshold_below(first, squares.end());
}

}  // namespace

CoefficientThreshold choose_threshold(View1<const double> coefficients, std::int64_t ground_cells,
                                      const CompressionRule& rule, std::vector<double>& work) {
  work.clear();
  switch (rule.kind) {
    case CompressionRule::Kind::relative_error:
      return within_energy(coefficients, rule.value, work);
    case CompressionRule::Kind::fraction:
      return largest(coefficients, std::llround(rule.value * static_cast<double>(ground_cells)),
                     work);
    case CompressionRule::Kind::threshold:
      break;
  }
  return {rule.value * rule.value, coefficients.size()};
}

}  // namespace quorivex
