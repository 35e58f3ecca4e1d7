// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <omp.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {

/// One accumulator of `size` zeros for each thread, allocated before the parallel region because
/// nothing may throw inside it. Adding them up in thread order makes the bits of a sum depend on
/// the thread count alone, never on timing.
class PrivateSums {
 public:
  PrivateSums(std::int64_t size, std::string_view label)
      : size_(size),
        stride_((size + kPadding - 1) / kPadding * kPadding),
        sums_(allocate<double>(as_size(stride_ * omp_get_max_threads()), label)) {}

  View1<double> of_this_thread() { return {sums_.data() + stride_ * omp_get_thread_num(), size_}; }

  /// total(i) = the sum over the threads, first to last. Call it after the region.
  void add_up(View1<double> total) const {
#pragma omp parallel for schedule(static) default(none) shared(total) if (size_ > 10000)
    for (std::int64_t i = 1; i <= size_; ++i) {
      double sum = 0.0;
      for (std::int64_t at = i - 1; at < length(sums_); at += stride_) sum += sums_[as_size(at)];
      total(i) = sum;
    }
  }

 private:
  static constexpr std::int64_t kPadding = 8;  // doubles of a cache line
  std::int64_t size_;
  std::int64_t stride_;
  std::vector<double> sums_;
};

}  // namespace quorivex
