// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace quorivex {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// Line breaks and tabs keep their meaning in attributes as numbers; the others XML does not allow.
std::string control_character(char c) {
  if (c == '\n') return "&#10;";
  if (c == '\r') return "&#13;";
  return c == '\t' ? "&#9;" : "\uFFFD";
}

}  // namespace

std::string_view trim(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::string one_line(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

std::string without_controls(std::string_view text) {
  std::string printable(text);
  std::replace_if(
      printable.begin(), printable.end(),
      [](unsigned char c) { return (c < ' ' && c != '\n') || c == 0x7F; }, ' ');
  return printable;
}

std::optional<double> to_number(std::string_view text) {
  std::string digits(text);
  std::replace_if(
      digits.begin(), digits.end(), [](char c) { return c == 'D' || c == 'd'; }, 'e');
  const char* first = digits.data();
  const char* last = first + digits.size();
  if (digits.starts_with('+') && !digits.starts_with("+-")) ++first;
  double value = 0.0;
  const auto [stop, error] = std::from_chars(first, last, value);
  if (error != std::errc() || stop != last || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::string escape_xml(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += static_cast<unsigned char>(c) < ' ' ? control_character(c) : std::string(1, c);
    }
  }
  return escaped;
}

}  // namespace quorivex
