// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quorivex {

/// For each of n points the first one at its place, itself included: the same coordinates to the
/// millimetre. Indices from 0; about n log n steps.
std::vector<std::size_t> first_at_place(const std::vector<double>& x, const std::vector<double>& y,
                                        const std::vector<double>& z);

/// How many points stand at the place of an earlier one.
std::int64_t count_repeated(const std::vector<double>& x, const std::vector<double>& y,
                            const std::vector<double>& z);

}  // namespace quorivex
