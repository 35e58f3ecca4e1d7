// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string_view>

namespace quorivex {

/// Susceptibility that marks air in model files.
inline constexpr double kAirValue = -100.0;

/// True when an entry of the input file begins with "null" or "NULL": no file, the default.
inline bool is_null(std::string_view entry) {
  return entry.starts_with("null") || entry.starts_with("NULL");
}

/// What follows VALUE in a model's entry ("VALUE 0.001"); nothing when the entry names a file.
/// Trailing blanks are gone by now: VALUE alone is a constant without its number.
inline std::optional<std::string_view> constant_of(std::string_view entry) {
  if (entry != "VALUE" && !entry.starts_with("VALUE ")) return std::nullopt;
  return entry.substr(5);
}

}  // namespace quorivex
