// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <vector>

namespace quorivex {

/// Lets threads that share a loop do a piece of work in the order of the loop. The threads take the
/// numbers of the loop in rising order, so that the lowest one at work never waits.
class Turns {
 public:
  Turns(std::size_t pieces, std::int32_t first) : next_(pieces) {
    for (auto& next : next_) next = first;
  }

  /// Waits until it is the turn of `number` at the piece; false when the loop is to end.
  bool await(std::size_t piece, std::int32_t number) {
    for (;;) {
      const std::int32_t next = next_[piece].load();
      if (next == number || next == kStopped) return next == number;
      next_[piece].wait(next);
    }
  }
  /// Ends the turn of `number`.
  void pass(std::size_t piece, std::int32_t number) {
    std::int32_t expected = number;
    next_[piece].compare_exchange_strong(expected, number + 1);
    next_[piece].notify_all();
  }
  /// Ends the loop for all threads that wait or will.
  void stop() {
    for (auto& next : next_) {
      next = kStopped;
      next.notify_all();
    }
  }

 private:
  static constexpr std::int32_t kStopped = std::numeric_limits<std::int32_t>::min();

  std::vector<std::atomic<std::int32_t>> next_;
};

}  // namespace quorivex
