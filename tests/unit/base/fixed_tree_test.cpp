// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/fixed_tree.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace quorivex {
namespace {

// Neighbours first, a part without a neighbour later, whatever the number of elements. Each order
// of these additions has a sum of its own, because 1 is lost next to 2^53.
TEST(FixedTree, AddsNeighboursThenPairs) {
  constexpr double kLarge = 0x1p53;
  const std::vector<double> parts{1.0, kLarge, 1.0, 1.0, 1.0};
  const std::vector<double> expected{0.0, 1.0, kLarge, kLarge, kLarge + 2.0, kLarge + 4.0};
  for (const std::int64_t n : {1, 255, 600}) {
    const std::int64_t stride = n + 3;
    for (std::int64_t count = 0; count <= 5; ++count) {
      std::vector<double> work(as_size(count * stride), 7.0);
      for (std::int64_t part = 0; part < count; ++part) {
        for (std::int64_t i = 0; i < n; ++i)
          work[as_size(part * stride + i)] = parts[as_size(part)];
      }
      std::vector<double> sum(as_size(n), std::numeric_limits<double>::quiet_NaN());
      sum_in_pairs(work.data(), count, stride, sum);
      EXPECT_EQ(sum, std::vector<double>(as_size(n), expected[as_size(count)]))
          << count << " parts";
    }
  }
}

}  // namespace
}  // namespace quorivex
