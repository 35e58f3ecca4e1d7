// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorivex {

/// Parallel regions have `wanted` threads from now on or, where the system does not start that many
/// at once, half of those it starts, which leaves room for the rest of the run. Returns a sentence
/// about that, "" where there is nothing to say.
std::string use_threads(int wanted);

}  // namespace quorivex
