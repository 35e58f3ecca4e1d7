// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/text_file.h"

namespace quorivex {

/// What a free-format read met.
enum class Read {
  value,  ///< a number
  end,    ///< the end of the text
  bad     ///< anything else: no number of that type, an empty value, or the closing "/"
};

/// Reads numbers in free format from a line or from a whole file.
///
/// Values are separated by blanks, tabs, line ends or one comma; r*v stands for r times v; "/" ends
/// the read. An empty value (between two commas, or r* alone) and whatever follows "/" leave a
/// variable as it was; no variable here had a value before, so they count as `bad`. A number uses
/// its whole token, is finite and fits its type; exponents are written with E, e, D or d.
class FreeFormat {
 public:
  explicit FreeFormat(std::string_view line) : line_(line) {}
  explicit FreeFormat(TextFile& file) : file_(&file) {}

  /// Text that says nan is bad, and leaves a NaN in the variable.
  [[nodiscard]] Read next(double& value);
  [[nodiscard]] Read next(std::int32_t& value);

  /// Reads all values, in order; false when one of them is not there or bad.
  template <class... Values>
  [[nodiscard]] bool read(Values&... values) {
    return ((next(values) == Read::value) && ...);
  }

  /// Drops what is left of the line of the last value: the next read begins on a new line.
  void next_line();

 private:
  Read next_token();
  int peek();
  void take();

  std::string_view line_;
  TextFile* file_ = nullptr;
  std::string token_;        // empty: an empty value
  std::int64_t repeat_ = 0;  // how often the token is still to be delivered
  bool comma_may_follow_ = false;
};

}  // namespace quorivex
