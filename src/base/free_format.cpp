// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/free_format.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

#include "base/text.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxToken = 4096;

bool is_blank(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

template <class Number>
std::errc parse_whole_token(std::string_view token, Number& value) {
  if (token.starts_with('+')) {
    token.remove_prefix(1);
    if (token.starts_with('-')) return std::errc::invalid_argument;
  }
  const char* end = token.data() + token.size();
  Number number{};
  const auto [stop, error] = std::from_chars(token.data(), end, number);
  if (stop != end) return std::errc::invalid_argument;
  if (error == std::errc()) value = number;  // not of the beginning of a word ("information")
  return error;
}

bool parse(std::string_view token, std::int32_t& value) {
  return parse_whole_token(token, value) == std::errc();
}

/// Gives an exponent without a letter its own: "1.5-3" becomes "1.5e-3".
void insert_exponent_letter(std::string& token) {
  const std::size_t sign = token.find_first_of("+-", 1);
  if (sign == std::string::npos) return;
  const char before = token[sign - 1];
  if (before == '.' || (before >= '0' && before <= '9')) token.insert(sign, 1, 'e');
}

bool parse(std::string& token, double& value) {
  std::replace_if(
      token.begin(), token.end(), [](char c) { return c == 'D' || c == 'd'; }, 'e');
  insert_exponent_letter(token);
  const std::errc error = parse_whole_token(token, value);
  if (error == std::errc::result_out_of_range) {  // too large, or so small that it is zero
    value = std::strtod(token.c_str(), nullptr);
  } else if (error != std::errc()) {
    return false;
  }
  return std::isfinite(value);
}

}  // namespace

int FreeFormat::peek() {
  if (file_ != nullptr) return file_->peek();
  return line_.empty() ? TextFile::kEnd : static_cast<unsigned char>(line_.front());
}

void FreeFormat::take() {
  if (file_ != nullptr) {
    file_->take();
  } else {
    line_.remove_prefix(1);
  }
}

Read FreeFormat::next_token() {
  if (repeat_ > 0) {
    --repeat_;
    return token_.empty() ? Read::bad : Read::value;
  }
  int next = peek();
  for (; is_blank(next) || (next == ',' && comma_may_follow_); next = peek()) {
    if (next == ',') comma_may_follow_ = false;
    if (next == '\n') ++line_number_;
    take();
  }
  if (next == TextFile::kEnd) return Read::end;
  if (next == '/') return Read::bad;
  token_.clear();
  if (next == ',') {  // nothing between two commas
    take();
    return Read::bad;
  }
  for (; next != TextFile::kEnd && next != ',' && next != '/' && !is_blank(next); next = peek()) {
    if (token_.size() == kMaxToken) return Read::bad;
    token_.push_back(static_cast<char>(next));
    take();
  }
  comma_may_follow_ = true;
  const std::size_t star = token_.find('*');
  if (star == std::string::npos) return Read::value;
  std::int64_t count = 0;
  if (parse_whole_token(std::string_view(token_).substr(0, star), count) != std::errc() ||
      count < 1) {
    return Read::bad;
  }
  token_.erase(0, star + 1);
  repeat_ = count - 1;
  return token_.empty() ? Read::bad : Read::value;
}

Read FreeFormat::next(double& value) {
  const Read read = next_token();
  if (read != Read::value) return read;
  return parse(token_, value) ? Read::value : Read::bad;
}

Read FreeFormat::next(std::int32_t& value) {
  const Read read = next_token();
  if (read != Read::value) return read;
  return parse(token_, value) ? Read::value : Read::bad;
}

std::string FreeFormat::describe_fault() const {
  constexpr std::size_t kShown = 40;
  std::string text = fmt::format("Line {} should hold a number", line_number_);
  if (!token_.empty())
    text += fmt::format(", not '{}'", without_controls(token_.substr(0, kShown)));
  return text + ".";
}

void FreeFormat::next_line() {
  if (file_ != nullptr) file_->skip_line();
  ++line_number_;
  repeat_ = 0;
  comma_may_follow_ = false;
}

}  // namespace quorivex
