// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/stop_run.h"

namespace quorivex {

/// Elements per piece of a sum over a long vector.
inline constexpr std::int64_t kSumPiece = 4096;

/// Calls part(first, last) -> sum for pieces of 0 .. n-1 on all threads and adds the results up in
/// order: the bits do not depend on the number of threads. Sum has operator+= and starts at 0.
template <class Sum, class Part>
Sum ordered_sum(std::int64_t n, std::string_view label, Part part) {
  const std::int64_t pieces = (n + kSumPiece - 1) / kSumPiece;
  std::vector<Sum> sums = allocate<Sum>(as_size(pieces), label);
  Sum* const to = sums.data();
#pragma omp parallel for schedule(static) default(none) shared(pieces, n, part, to)
  for (std::int64_t piece = 0; piece < pieces; ++piece) {
    to[piece] = part(piece * kSumPiece, std::min((piece + 1) * kSumPiece, n));
  }
  Sum total{};
  for (const Sum& sum : sums) total += sum;
  return total;
}

}  // namespace quorivex
