// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/fixed_format.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>

namespace quorivex {
namespace {

std::string_view word_for(double value) {
  if (std::isnan(value)) return "NaN";
  return value > 0.0 ? "Infinity" : "-Infinity";
}

}  // namespace

void append_sci(std::string& text, double value, int width, int decimals) {
  if (!std::isfinite(value)) {
    text += right(word_for(value), width);
    return;
  }
  fmt::format_to(std::back_inserter(text), "{:{}.{}E}", value, width, decimals);
}

std::string sci(double value, int width, int decimals) {
  std::string text;
  append_sci(text, value, width, decimals);
  return text;
}

std::string fixed(double value, int width, int decimals) {
  if (!std::isfinite(value)) return right(word_for(value), width);
  return fmt::format("{:{}.{}f}", value, width, decimals);
}

std::string three_significant(double value) {
  const double magnitude = std::abs(value);
  if (!(magnitude >= 0.1 && magnitude < 1000.0)) return sci(value, 10, 3);
  // The limits are those at which rounding to three digits makes the number one digit longer;
  // of the three only 9.995 is a little less as a double than as written, and stays shorter.
  const int decimals = magnitude < 0.9995 ? 3 : magnitude <= 9.995 ? 2 : magnitude < 99.95 ? 1 : 0;
  // '#' keeps the point of a number without decimals, so that "  100." fills its six columns.
  return fmt::format("{:#6.{}f}    ", value, decimals);
}

std::string whole(std::int64_t value, int width) { return fmt::format("{:{}}", value, width); }

std::string right(std::string_view text, int width) { return fmt::format("{:>{}}", text, width); }

std::string three_digits(std::int64_t value) { return fmt::format("{:03}", value); }

std::string_view trim_right(std::string_view text) {
  const std::size_t last = text.find_last_not_of(" \t\r");
  return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

}  // namespace quorivex
