// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

namespace quorivex {

/// Throws std::bad_alloc for a large request that exceeds what the machine has available. The
/// system would grant it, and end the program without a word when the memory is used.
void require_available_memory(std::uint64_t bytes);

/// Memory that is not set to zero, for std::free; a large piece on pages as large as the processor
/// has, so that long streams seldom wait for an address.
/// @throws std::bad_alloc as require_available_memory, or when the system refuses
void* raw_memory(std::size_t bytes);

}  // namespace quorivex
