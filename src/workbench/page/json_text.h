// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorivex {

// JSON as text, value by value. Bytes that are not UTF-8 stay as they are: the page's decoder
// replaces them.

/// In quotes, with escapes for quotes, backslashes and control characters.
std::string json_text(std::string_view text);
/// The fewest digits that mean the same number; null for NaN and infinities.
std::string json_number(double value);
/// {"NAME":VALUE,...}, the values JSON already.
std::string json_object(std::initializer_list<std::pair<std::string_view, std::string>> members);

/// [VALUE,...], each made by `to_json`.
template <class T, class ToJson>
std::string json_list(const std::vector<T>& values, ToJson to_json) {
  std::string list = "[";
  for (const T& value : values) {
    if (list.size() > 1) list += ',';
    list += to_json(value);
  }
  return list + "]";
}
inline std::string json_list(const std::vector<double>& values) {
  return json_list(values, json_number);
}

}  // namespace quorivex
