// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "inversion/sensitivity/sensitivity_state.h"
#include "inversion/sensitivity/sparse_rows.h"
#include "inversion/sensitivity/wtn_mod.h"

namespace quorivex::test {

// The products as plain loops over whole rows on all threads, for tests to compare with and for
// benchmarks to run against. The results replace what the last vector holds.

/// d = G x
void plain_full_gv(const FullMatrix& G, const std::vector<double>& x, std::vector<double>& d);
/// x = G^T d
void plain_full_gtv(const FullMatrix& G, const std::vector<double>& d, std::vector<double>& x);

/// d = S w
void plain_gv(const SparseRows& S, const std::vector<double>& w, std::vector<double>& d);
/// w = S^T d; the order of a sum depends on the threads.
void plain_gtv(const SparseRows& S, const std::vector<double>& d, std::vector<double>& w);

/// The wavelet transform line after line and level after level, on one thread: forward for
/// isign >= 0, else inverse.
void plain_transform(const WTN_MOD::Filter& filter, std::vector<double>& a,
                     const std::array<std::int32_t, 3>& counts, int isign);

}  // namespace quorivex::test
