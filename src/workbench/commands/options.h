// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <CLI/CLI.hpp>

namespace quorivex {

// What an option may be: lengths that can be meant, in metres.
inline constexpr double kMinLength = 0.001;
inline constexpr double kMaxLength = 1e9;

/// A finite number from `least` to `most`.
CLI::Validator number(double least, double most);

}  // namespace quorivex
