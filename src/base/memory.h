// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace quorivex {

/// Throws std::bad_alloc for a large request that exceeds what the machine has available. The
/// system would grant it, and end the program without a word when the memory is used.
void expect_memory(std::uint64_t bytes);

}  // namespace quorivex
