// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <math.h>  // NOLINT(modernize-deprecated-headers): declares them outside std

// Declares exponential, logarithm and arctangent of the C library again, so that GCC may call their
// vector forms (at most 4 units in the last place) in loops marked `omp simd`. Only for files
// compiled with -fno-math-errno. The GNU C library has the arctangent's since 2.35.
#if defined(__x86_64__) && defined(__GLIBC__) && defined(__GNUC__) && !defined(__clang__)
extern "C" {
__attribute__((__simd__("notinbranch"))) double log(double) noexcept;
__attribute__((__simd__("notinbranch"))) double exp(double) noexcept;
#if __GLIBC_PREREQ(2, 35)
__attribute__((__simd__("notinbranch"))) double atan(double) noexcept;
#endif
}
#endif
