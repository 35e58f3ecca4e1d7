// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Declares exponential, logarithm and arctangent of the C library so that GCC may call their vector
// forms (at most 4 units in the last place) in loops marked `omp simd`. Only for files compiled
// with -fno-math-errno.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define QUORIVEX_VECTOR_FORM __attribute__((__simd__("notinbranch")))
#else
#define QUORIVEX_VECTOR_FORM
#endif

extern "C" {
QUORIVEX_VECTOR_FORM double log(double) noexcept;
QUORIVEX_VECTOR_FORM double atan(double) noexcept;
QUORIVEX_VECTOR_FORM double exp(double) noexcept;
}
