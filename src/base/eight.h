// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <cstdint>

// Vectors of 8 doubles for the loops in which a compiler would choose shorter ones. For inlining
// into functions that are compiled for several processors; only for files compiled with
// -fno-math-errno. How such functions would be called does not matter.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace quorivex {

inline constexpr std::int64_t kVector = 8;

using Eight = double __attribute__((vector_size(64), aligned(8)));

inline const Eight& eight(const double* at) { return *reinterpret_cast<const Eight*>(at); }
inline Eight& eight(double* at) { return *reinterpret_cast<Eight*>(at); }

/// Half the digits of 1 / x. Numbers beyond single precision give 0 or infinity.
[[gnu::always_inline]] inline Eight inverse_guess(Eight x, bool of_root) {
  using EightFloats = float __attribute__((vector_size(32)));
  EightFloats single = __builtin_convertvector(x, EightFloats);
  if (of_root) {
    for (int n = 0; n < 8; ++n) single[n] = std::sqrt(single[n]);
  }
  return __builtin_convertvector(1.0F / single, Eight);
}

// In single precision first; a step of Newton's method doubles the digits. That takes a fifth of
// the time of root and quotient in double precision.

[[gnu::always_inline]] inline Eight inverse(Eight x) {
  const Eight guess = inverse_guess(x, false);
  return guess * (2.0 - x * guess);
}

[[gnu::always_inline]] inline Eight inverse_root(Eight x) {
  const Eight guess = inverse_guess(x, true);
  return guess * (1.5 - 0.5 * x * guess * guess);
}

}  // namespace quorivex
