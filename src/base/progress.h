// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace quorivex {

/// How far a piece of work is, on standard error: a bar with the remaining time when that is a
/// terminal, otherwise one line per minute (or nothing, on request). Silent for the first two
/// seconds. Not for concurrent use.
class Progress {
 public:
  enum class WhenNotATerminal { print_each_minute, nothing };

  /// `total` 0 when it is not known.
  Progress(std::string what, std::int64_t total,
           WhenNotATerminal elsewhere = WhenNotATerminal::print_each_minute);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Clears the bar.
  ~Progress();

  void done(std::int64_t count) {
    done(count, static_cast<double>(count) / static_cast<double>(total_));
  }
  /// `share` of the work, 0 to 1, where it does not follow from the count.
  void done(std::int64_t count, double share);

 private:
  using Clock = std::chrono::steady_clock;

  std::string what_;
  std::int64_t total_;
  bool terminal_;
  bool silent_;
  bool drawn_ = false;
  Clock::time_point start_;
  Clock::time_point next_;
};

}  // namespace quorivex
