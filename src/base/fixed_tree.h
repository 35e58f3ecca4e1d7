// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/view1.h"

namespace quorivex {

/// sum = parts 0 + 1 + ... + count - 1, element by element along a fixed binary tree: neighbours
/// first, then these pairs, and so on. The parts lie `stride` apart and are used up. The bits
/// depend on the parts and their order alone, whoever computes which of them. Without parts the sum
/// is 0.
inline void sum_in_pairs(double* parts, std::int64_t count, std::int64_t stride,
                         View1<double> sum) {
  constexpr std::int64_t kTogether = 256;  // elements, so that those of all parts stay in cache
  const std::int64_t n = sum.size();
#pragma omp parallel for schedule(static) default(none) shared(parts, count, stride, sum, n)
  for (std::int64_t first = 0; first < n; first += kTogether) {
    const std::int64_t size = std::min(std::int64_t{kTogether}, n - first);
    double* const of_first = parts + first;
    for (std::int64_t step = 1; step < count; step *= 2) {
      for (std::int64_t part = 0; part + step < count; part += 2 * step) {
        double* const to = of_first + part * stride;
        const double* const from = to + step * stride;
        for (std::int64_t i = 0; i < size; ++i) to[i] += from[i];
      }
    }
    if (count > 0) {
      std::copy_n(of_first, size, sum.data() + first);
    } else {
      std::fill_n(sum.data() + first, size, 0.0);
    }
  }
}

}  // namespace quorivex
