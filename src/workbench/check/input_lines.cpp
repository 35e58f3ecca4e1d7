// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/input_lines.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <optional>

#include "base/free_format.h"
#include "base/text.h"
#include "base/text_faults.h"
#include "base/text_file.h"
#include "inversion/input/conventions.h"
#include "inversion/input/input_file.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxInputLine = 10000;
constexpr std::size_t kMostNumbers = 10;  // of a line that are worth showing
constexpr std::size_t kAlphas = 4;
constexpr int kLines = 12;

std::vector<double> numbers_of(std::string_view text) {
  FreeFormat from(text);
  std::vector<double> numbers;
  for (double value = 0.0; numbers.size() < kMostNumbers && from.next(value) == Read::value;) {
    numbers.push_back(value);
  }
  return numbers;
}

/// The sentence about a line of which `wanted` numbers are read; nothing when there are no others.
std::optional<std::string> left_over(int line, std::string_view text, std::size_t wanted) {
  std::vector<double> numbers = numbers_of(text);
  // Three length scales with one decimal comma look like four alphas.
  const bool comma = wanted == kAlphas && !decimal_comma_in(text).empty();
  if (numbers.size() <= wanted && !comma) return std::nullopt;
  const std::size_t count = numbers.size();
  numbers.resize(std::min(count, wanted));
  return fmt::format("line {} of the input file, '{}', holds {} numbers, of which {} {} read: {}{}",
                     line, trim(text), count, numbers.size(), numbers.size() == 1 ? "is" : "are",
                     fmt::join(numbers, ", "),
                     text.find(',') == std::string_view::npos
                         ? ""
                         : ".\nA comma separates two numbers; write a decimal point");
}

std::optional<std::string> doubt_of(int line, const std::string& entry) {
  if (line == 1 || line == 2) return left_over(line, entry, static_cast<std::size_t>(line));
  if (line == 10 && !is_null(entry)) return left_over(line, entry, kAlphas);
  const bool model = line == 5 || line == 6 || line == 8 || line == 9;
  const auto constant = model ? constant_of(entry) : std::nullopt;
  return constant ? left_over(line, *constant, 1) : std::nullopt;
}

}  // namespace

std::vector<std::string> input_line_doubts(const std::string& input_file) {
  std::vector<std::string> doubts;
  std::optional<TextFile> file = TextFile::open(input_file);
  if (!file) return doubts;
  int line = 0;
  for (std::string text; line < kLines && file->read_line(text, kMaxInputLine);) {
    if (line < 2 && trim(text).empty()) continue;  // as the reader of the numbers does
    ++line;
    if (const auto doubt = doubt_of(line, strip_comment(text))) doubts.push_back(*doubt);
  }
  return doubts;
}

}  // namespace quorivex
