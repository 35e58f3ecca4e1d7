// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <CLI/CLI.hpp>

namespace quorivex {

// Limits of options that are lengths, in metres.
inline constexpr double kMinLength = 0.001;
inline constexpr double kMaxLength = 1e9;

/// Accepts a finite number from `min` to `max`.
CLI::Validator number(double min, double max);

}  // namespace quorivex
