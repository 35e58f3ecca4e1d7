// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/memory.h"

namespace quorivex {

/// Ends the run: main writes `console` to standard output and `log` to the log, and returns 0.
struct StopRun : std::exception {
  explicit StopRun(std::string text) : console(text), log(std::move(text)) {}
  StopRun(std::string console_text, std::string log_text)
      : console(std::move(console_text)), log(std::move(log_text)) {}
  const char* what() const noexcept override { return console.c_str(); }
  /// The console's text without the blanks and empty lines around it.
  std::string message() const;

  std::string console;
  std::string log;
  std::string detail;  ///< what is known of the reason; the run does not print it
};

/// Ends the run with one or more lines, an empty line before and after.
[[noreturn]] void stop_run(std::string_view lines, std::string detail = {});

/// " ERROR: LABEL file not found: NAME"
[[noreturn]] void file_not_found(std::string_view label, std::string_view name);

/// "Memory allocation error in: LABEL"
[[noreturn]] void alloc_error(std::string_view label);

/// Internal consistency check: ends the run with the failed condition as its text.
inline void require(bool holds, std::string_view failed_condition) {
  if (!holds) stop_run(failed_condition);
}

/// A vector of `size` elements; when memory is short, `alloc_error(label)`.
template <class T>
std::vector<T> allocate(std::size_t size, std::string_view label, T value = T{}) {
  try {
    require_available_memory(size * sizeof(T));
    return std::vector<T>(size, value);
  } catch (const std::bad_alloc&) {
    alloc_error(label);
  } catch (const std::length_error&) {
    alloc_error(label);
  }
}

}  // namespace quorivex
