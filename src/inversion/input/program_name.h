// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorivex {

inline constexpr const char* kProgram = "quorivex";
inline constexpr const char* kVersion = QUORIVEX_VERSION;
inline constexpr const char* kLogName = "quorivex.log";
inline constexpr const char* kSummaryName = "quorivex.out";

}  // namespace quorivex
