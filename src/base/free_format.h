// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/text_file.h"

namespace quorivex {

/// What a free-format read found.
enum class Read {
  value,  ///< a number
  end,    ///< the end of the text
  bad     ///< anything else: text that is not a number of that type, an empty value, or a "/"
};

/// Reads numbers in free format from a line or from a whole file.
///
/// Values are separated by blanks, tabs, line ends or one comma; r*v stands for r times v; "/" ends
/// the read. An empty value (between two commas, or r* alone) and whatever follows "/" would leave
/// a variable unchanged; the variables here have no earlier value, so both count as `bad`. A number
/// uses its whole token, is finite and fits its type. An exponent follows E, e, D or d, or stands
/// with its sign alone, as a three-digit one is often written: 1.0-100.
class FreeFormat {
 public:
  explicit FreeFormat(std::string_view line) : line_(line) {}
  explicit FreeFormat(TextFile& file) : file_(&file) {}

  /// The word nan is bad, and leaves a NaN in the variable.
  [[nodiscard]] Read next(double& value);
  [[nodiscard]] Read next(std::int32_t& value);

  /// Reads all values, in order; false when one of them is missing or bad.
  template <class... Values>
  [[nodiscard]] bool read(Values&... values) {
    return ((next(values) == Read::value) && ...);
  }

  /// Skips the rest of the line of the last value: the next read begins on a new line.
  void next_line();

  /// "Line 7 should hold a number, not '0.1abc'.", after a read of a file that was bad.
  std::string describe_fault() const;
  /// Lines of the file up to the place of the last read, that one included.
  std::int64_t line() const { return line_number_; }

 private:
  Read next_token();
  int peek();
  void take();

  std::string_view line_;
  TextFile* file_ = nullptr;
  std::int64_t line_number_ = 1;
  std::string token_;        // empty: an empty value
  std::int64_t repeat_ = 0;  // how many more times the token is delivered
  bool comma_may_follow_ = false;
};

}  // namespace quorivex
