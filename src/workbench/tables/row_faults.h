// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace quorivex {

/// The beginning of a line for a message, control characters as blanks.
std::string excerpt(std::string_view line);

/// Collects what is wrong with the rows of a table, so that one run reports more than the first
/// fault.
class RowFaults {
 public:
  /// @param name  of the table's file
  /// @param advice  what to do, for the end of the message
  RowFaults(std::string name, std::string advice)
      : name_(std::move(name)), advice_(std::move(advice)) {}

  /// @param number  of the line, from 1
  void add(std::int64_t number, const std::string& why, std::string_view line);

  /// @throws StopRun with the first five faults, if there is any
  void refuse_any() const;

 private:
  std::string name_;
  std::string advice_;
  std::int64_t count_ = 0;
  std::string list_;
};

}  // namespace quorivex
