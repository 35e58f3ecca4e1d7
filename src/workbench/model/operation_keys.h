// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <limits>
#include <optional>
#include <string>

#include "workbench/model/recipe_text.h"

namespace quorivex {

// The values of an operation's keys. All end the command, naming the operation, what is wrong and
// what is expected.

/// Both ends included.
struct NumberLimits {
  double min = -1e9;
  double max = 1e9;
};

inline constexpr double kMaxPlace = 1e9;  ///< metres, of coordinates and lengths

/// From min to max; an end that was not given is infinite.
struct KeyRange {
  double min = -std::numeric_limits<double>::infinity();
  double max = std::numeric_limits<double>::infinity();
};

/// Nothing where the operation does not have the key.
const Setting* find_setting(const Operation& operation, const std::string& key);

const std::string& needed_text(const Operation& operation, const std::string& key);
double needed_number(const Operation& operation, const std::string& key,
                     const NumberLimits& limits);
/// "1,2,3".
std::array<double, 3> needed_triple(const Operation& operation, const std::string& key,
                                    const NumberLimits& limits);
/// "10:20", "10:" or ":20"; nothing without the key.
std::optional<KeyRange> find_range(const Operation& operation, const std::string& key);

}  // namespace quorivex
