// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace quorivex {

// Calls of libraries that cannot be trusted with the program.

/// Calls action() in a thread with a stack of 4 MiB: that of the first thread may be smaller.
/// What action throws is thrown again.
void on_own_stack(const std::function<void()>& action);

using TakeBytes = std::function<void(std::string_view)>;

/// Calls make(write) in a process of its own, on its own stack as well; what it writes is handed to
/// `take` piece by piece. False when that process crashed.
/// @throws StopRun with the text of the one that ended `make`
bool in_own_process(const std::function<void(const TakeBytes& write)>& make, const TakeBytes& take);

// For `make` of in_own_process: damage can keep a library busy for ever, or make it ask for all
// memory.

/// Ends this process after so many seconds of a processor.
void limit_seconds(std::uint64_t seconds);

/// Refuses this process more than `bytes` beyond what it has now; without a number that ends.
void limit_memory(std::optional<std::uint64_t> bytes);

}  // namespace quorivex
