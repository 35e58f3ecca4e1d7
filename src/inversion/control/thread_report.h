// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorivex {

/// Sets the thread count to the number in `text` when it is a positive integer; otherwise the
/// runtime's default stays. Either way it is limited to 999, the most that the report has room for,
/// and to what the system starts: a warning is returned where those are fewer.
std::string set_threads(std::string_view text);

/// The thread count, a warning when it exceeds the processors, and which program this is.
std::string thread_report(std::string_view name);

}  // namespace quorivex
