// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// QUORIVEX_MULTIVERSIONED before a function compiles it for several generations of
// processors; the program picks the best version when it starts. Such a function must
// not contain a parallel region: the part that the threads run would be compiled once only.
// QUORIVEX_ONE_TARGET turns it off: for -march=native, and for the thread sanitizer, whose runtime
// is not ready yet when the choice is made.
#if defined(__x86_64__) && !defined(QUORIVEX_ONE_TARGET)
#define QUORIVEX_MULTIVERSIONED \
  __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
#define QUORIVEX_MULTIVERSIONED
#endif

namespace quorivex {

/// The processors that they are compiled for, as a text.
#if defined(__x86_64__) && !defined(QUORIVEX_ONE_TARGET)
inline constexpr const char* kKernels = "x86-64-v4, x86-64-v3, x86-64";
#else
inline constexpr const char* kKernels = "one kind of processor";
#endif

}  // namespace quorivex
