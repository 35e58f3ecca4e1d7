// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <math.h>  // NOLINT(modernize-deprecated-headers): declares them outside std

// Declares exponential, logarithm and arctangent of the C library again, so that GCC may call their
// vector forms (at most 4 units in the last place) in loops marked `omp simd`. Only for files
// compiled with -fno-math-errno. The GNU C library has that of the arctangent since 2.35, the
// others since 2.22.
#if defined(__x86_64__) && defined(__GLIBC__) && defined(__GNUC__) && !defined(__clang__)
#define QUORIVEX_VECTOR_FORM __attribute__((__simd__("notinbranch")))
extern "C" {
#if __GLIBC_PREREQ(2, 22)
QUORIVEX_VECTOR_FORM double log(double) noexcept;
QUORIVEX_VECTOR_FORM double exp(double) noexcept;
#endif
#if __GLIBC_PREREQ(2, 35)
QUORIVEX_VECTOR_FORM double atan(double) noexcept;
#endif
}
#endif
