// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/text_faults.h"

#include <algorithm>

#include "base/text.h"

namespace quorivex {
namespace {

/// "12,5", "-1,25e3": digits, one comma, and a number after it.
bool has_decimal_comma(std::string_view word) {
  const std::size_t comma = word.find(',');
  if (comma == std::string_view::npos || comma == 0 || comma + 1 == word.size()) return false;
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (!is_digit(word[comma - 1]) || !is_digit(word[comma + 1])) return false;
  std::string with_point(word);
  with_point[comma] = '.';
  return to_number(with_point).has_value();
}

}  // namespace

std::string foreign_format(std::string_view beginning) {
  const auto begins = [&](std::string_view mark) { return beginning.starts_with(mark); };
  if (begins("PK\x03\x04") || begins("\xD0\xCF\x11\xE0")) {
    return "is a spreadsheet or an archive; save the sheet as CSV";
  }
  if (begins("\xFF\xFE") || begins("\xFE\xFF") ||
      std::find(beginning.begin(), beginning.end(), '\0') != beginning.end()) {
    return "is UTF-16 text or binary; save it as text in UTF-8";
  }
  return "";
}

std::string_view decimal_comma_in(std::string_view line) {
  constexpr std::string_view kBetween = " \t\r;";
  std::string_view found;
  int words = 0;
  while (true) {
    line.remove_prefix(std::min(line.find_first_not_of(kBetween), line.size()));
    if (line.empty()) return words > 1 ? found : std::string_view{};
    const std::string_view word = line.substr(0, line.find_first_of(kBetween));
    if (found.empty() && has_decimal_comma(word)) found = word;
    ++words;
    line.remove_prefix(word.size());
  }
}

}  // namespace quorivex
