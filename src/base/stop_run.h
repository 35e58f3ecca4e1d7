// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/memory.h"

namespace quorivex {

/// Ends the run: main writes `console()` to standard output and `log()` to the log, and returns 0.
class StopRun : public std::exception {
 public:
  explicit StopRun(std::string text) : console_(text), log_(std::move(text)) {}
  StopRun(std::string console_text, std::string log_text, std::string detail = {})
      : console_(std::move(console_text)), log_(std::move(log_text)), detail_(std::move(detail)) {}
  /// "Memory allocation error in: LABEL". Allocates nothing: there may be no memory left at all.
  static StopRun out_of_memory(std::string_view label);

  std::string_view console() const { return fixed_text_[0] != 0 ? fixed_text() : console_; }
  std::string_view log() const { return fixed_text_[0] != 0 ? fixed_text() : log_; }
  const char* what() const noexcept override { return console().data(); }
  /// The console's text without the blanks and empty lines around it.
  std::string_view message() const;

  /// What is known of the reason beyond the message; a run of quorivex does not print it.
  const std::string& detail() const { return detail_; }

 private:
  StopRun() = default;
  std::string_view fixed_text() const { return fixed_text_.data(); }

  std::string console_;
  std::string log_;
  std::string detail_;
  std::array<char, 128> fixed_text_{};  // of out_of_memory: replaces both
};

/// Ends the run with one or more lines, an empty line before and after.
[[noreturn]] void stop_run(std::string_view lines, std::string detail = {});

/// " ERROR: LABEL file not found: NAME", also where it is there and cannot be opened: the detail
/// says so.
[[noreturn]] void file_not_found(std::string_view label, const std::string& name);

/// The same for files that only qvx reads: the message itself says so.
[[noreturn]] void cannot_open(std::string_view label, const std::string& name);

/// "Memory allocation error in: LABEL"
[[noreturn]] void alloc_error(std::string_view label);

/// Internal consistency check: ends the run with the failed condition as its text.
inline void require(bool holds, std::string_view failed_condition) {
  if (!holds) stop_run(failed_condition);
}

/// Returns action(); when memory is short there, `alloc_error(label)`.
template <class Action>
decltype(auto) with_alloc_label(std::string_view label, Action&& action) {
  try {
    return std::forward<Action>(action)();
  } catch (const std::bad_alloc&) {
    alloc_error(label);
  } catch (const std::length_error&) {
    alloc_error(label);
  }
}

/// A vector of `size` elements; when memory is short, `alloc_error(label)`.
template <class T>
std::vector<T> allocate(std::size_t size, std::string_view label, T value = T{}) {
  return with_alloc_label(label, [&] {
    require_available_memory(size * sizeof(T));
    return std::vector<T>(size, value);
  });
}

}  // namespace quorivex
