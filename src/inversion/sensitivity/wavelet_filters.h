// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorivex {

/// Names of the wavelet families that a matrix can be compressed with: the number is that of the
/// coefficients of the low-pass filter (of sym4 that of the vanishing moments, as is usual).
const std::vector<std::string>& wavelet_names();

/// The orthonormal low-pass filter of a family (Daubechies 1988 and, for sym4, 1992, table 6.3),
/// to the last bit of a double; the name is one of `wavelet_names`.
std::vector<double> low_pass_filter(std::string_view name);

}  // namespace quorivex
