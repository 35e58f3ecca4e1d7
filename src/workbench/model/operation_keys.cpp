// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/operation_keys.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "base/text.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

[[noreturn]] void refuse_value(const Operation& operation, const Setting& setting,
                               const std::string& expected) {
  refuse(operation,
         fmt::format("{}={} should be {}", setting.key, excerpt(setting.value), expected));
}

const Setting& needed(const Operation& operation, const std::string& key) {
  const Setting* setting = find_setting(operation, key);
  if (!setting) refuse(operation, fmt::format("{} needs {}=", operation.word, key));
  return *setting;
}

/// A number within the limits; nothing otherwise.
std::optional<double> number_within(std::string_view text, const NumberLimits& limits) {
  const std::optional<double> number = to_number(text);
  if (number && *number >= limits.min && *number <= limits.max) return number;
  return std::nullopt;
}

}  // namespace

const Setting* find_setting(const Operation& operation, const std::string& key) {
  const auto at = std::find_if(operation.settings.begin(), operation.settings.end(),
                               [&](const Setting& setting) { return setting.key == key; });
  return at == operation.settings.end() ? nullptr : &*at;
}

const std::string& needed_text(const Operation& operation, const std::string& key) {
  return needed(operation, key).value;
}

double needed_number(const Operation& operation, const std::string& key,
                     const NumberLimits& limits) {
  const Setting& setting = needed(operation, key);
  const std::optional<double> number = number_within(setting.value, limits);
  if (!number) {
    refuse_value(operation, setting,
                 fmt::format("a number from {:g} to {:g}", limits.min, limits.max));
  }
  return *number;
}

std::array<double, 3> needed_triple(const Operation& operation, const std::string& key,
                                    const NumberLimits& limits) {
  const Setting& setting = needed(operation, key);
  std::array<double, 3> numbers{};
  std::string_view rest = setting.value;
  for (std::size_t n = 0; n < numbers.size(); ++n) {
    const std::size_t comma = n < 2 ? rest.find(',') : rest.size();
    const std::optional<double> number = number_within(rest.substr(0, comma), limits);
    if (comma == std::string_view::npos || !number) {
      refuse_value(operation, setting,
                   fmt::format("three numbers from {:g} to {:g} with commas and without blanks",
                               limits.min, limits.max));
    }
    numbers[n] = *number;
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return numbers;
}

std::optional<KeyRange> find_range(const Operation& operation, const std::string& key) {
  const Setting* setting = find_setting(operation, key);
  if (!setting) return std::nullopt;
  const std::string_view text = setting->value;
  const std::size_t colon = text.find(':');
  KeyRange range;
  const auto read_end = [&](std::string_view end, double& to) {
    if (end.empty()) return true;
    const std::optional<double> number = number_within(end, {-kMaxPlace, kMaxPlace});
    to = number.value_or(to);
    return number.has_value();
  };
  if (text.size() < 2 || colon == std::string_view::npos ||
      !read_end(text.substr(0, colon), range.min) || !read_end(text.substr(colon + 1), range.max)) {
    refuse_value(operation, *setting, "a range in metres, such as 10:20, 10: or :20");
  }
  if (!(range.min <= range.max)) {
    refuse_value(operation, *setting, "a range from its smaller number to its larger one");
  }
  return range;
}

}  // namespace quorivex
