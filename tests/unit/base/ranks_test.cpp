// SPDX-License-Identifier: GPL-3.0-or-later
// Run by mpiexec with several numbers of processes; see tests/CMakeLists.txt.
#include "base/ranks.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <numeric>
#include <string>

namespace quorivex::test {
namespace {

using ranks::count;
using ranks::rank;
using Counts = std::vector<std::int64_t>;

constexpr std::int64_t kLong = 2'500'000;  // elements, more than two messages

/// Values that tell who sent them to whom, and their places.
std::vector<double> values(int from, int to, std::int64_t size) {
  std::vector<double> made(as_size(size));
  std::iota(made.begin(), made.end(), 1e8 * from + 1e10 * to);
  return made;
}

/// Length of what goes from one process to another: nothing, a few, or several messages.
std::int64_t size_between(int from, int to) {
  return (from + to) % 3 == 0 ? kLong : (from + 2 * to) % 3;
}

template <class T>
void append(std::vector<T>& to, const std::vector<T>& part) {
  to.insert(to.end(), part.begin(), part.end());
}

TEST(Ranks, NumbersAreTheSameEverywhere) {
  const std::int64_t n = count();
  Counts sums(as_size(kLong), rank() + 1);
  sums.back() = rank() == 0 ? std::numeric_limits<std::int64_t>::max() : -1;
  ranks::sum(sums);
  EXPECT_EQ(sums.front(), n * (n + 1) / 2);
  EXPECT_EQ(sums.back(), std::numeric_limits<std::int64_t>::max() - (n - 1));
  EXPECT_EQ(ranks::sum(std::int64_t{rank()}), n * (n - 1) / 2);
  EXPECT_EQ(ranks::max(-1.5 * rank()), 0.0);
  EXPECT_EQ(ranks::max(std::int64_t{rank()} << 40), (n - 1) << 40);
  const auto [before, total] = ranks::prefix_sum(10 + rank());
  EXPECT_EQ(before, 10 * rank() + rank() * (rank() - 1) / 2);
  EXPECT_EQ(total, 10 * n + n * (n - 1) / 2);
  const std::string text(as_size(kLong), 'q');
  EXPECT_EQ(ranks::broadcast_text(rank() == 0 ? text : "another"), text);
  std::vector<double> merged(5);
  if (rank() == count() - 1) merged[3] = -0.1;
  ranks::merge(merged);
  EXPECT_EQ(merged, (std::vector<double>{0, 0, 0, -0.1, 0}));
}

TEST(Ranks, PartsComeInTheOrderOfRanks) {
  std::vector<double> expected;
  Counts sizes;
  for (int r = 0; r < count(); ++r) {
    sizes.push_back(size_between(r, 1));
    append(expected, values(r, 0, sizes.back()));
  }
  const std::vector<double> own = values(rank(), 0, size_between(rank(), 1));
  EXPECT_TRUE(ranks::all_gather(own, sizes) == expected);
  std::string texts;
  std::string gathered;
  for (int r = 0; r < count(); ++r)
    texts += std::string(as_size(size_between(r, 2)), static_cast<char>('a' + r));
  const std::string text(as_size(size_between(rank(), 2)), static_cast<char>('a' + rank()));
  ranks::gather(text, [&](std::string_view piece) { gathered += piece; });
  EXPECT_TRUE(gathered == (rank() == 0 ? texts : ""));
  std::vector<double> numbers(7, -1.0);
  const ranks::Share share = ranks::share_of(7, rank(), count());
  for (std::int64_t n = share.begin; n < share.end; ++n) numbers[as_size(n)] = double(n);
  ranks::all_gather(numbers, share);
  EXPECT_EQ(numbers, (std::vector<double>{0, 1, 2, 3, 4, 5, 6}));
}

TEST(Ranks, ExchangesGoToWhomTheyAreMeantFor) {
  Counts to;
  std::vector<double> send;
  std::vector<double> expected;
  std::int64_t for_others = 0;
  for (int r = 0; r < count(); ++r) {
    to.push_back(size_between(rank(), r));
    if (r != rank()) for_others += to.back();
    append(send, values(rank(), r, to.back()));
    append(expected, values(r, rank(), size_between(r, rank())));
  }
  const Counts from = ranks::exchange_counts(to);
  std::vector<double> received(expected.size());
  const std::int64_t before = ranks::bytes_sent();
  ranks::exchange(send, to, received, from);
  EXPECT_EQ(ranks::bytes_sent() - before, 8 * for_others);
  EXPECT_TRUE(received == expected);
  std::vector<std::int32_t> numbers(as_size(count()));
  ranks::exchange(std::vector<std::int32_t>(as_size(count()), rank()), Counts(as_size(count()), 1),
                  numbers, Counts(as_size(count()), 1));
  for (int r = 0; r < count(); ++r) EXPECT_EQ(numbers[as_size(r)], r);
}

TEST(Ranks, NeighboursGetTheLayerNextToThem) {
  const std::vector<double> down = values(rank(), rank() - 1, kLong);
  const std::vector<double> up = values(rank(), rank() + 1, 3);
  std::vector<double> from_before(3, -1.0);
  std::vector<double> from_after(as_size(kLong), -1.0);
  ranks::exchange_with_neighbours({down, up}, {from_before, from_after});
  EXPECT_EQ(from_before,
            rank() == 0 ? std::vector<double>(3, -1.0) : values(rank() - 1, rank(), 3));
  EXPECT_TRUE(from_after == (rank() + 1 == count() ? std::vector<double>(as_size(kLong), -1.0)
                                                   : values(rank() + 1, rank(), kLong)));
}

/// What the processes do, of which those from `first` on fail in their own way: they are busy in a
/// collective, at the end, or failing too.
void play(const std::string& scene) {
  const std::string own(as_size(kLong), '1');
  if (scene == "sink") {  // the first fails while the others send
    ranks::gather(own, [](std::string_view) { stop_run(" ERROR: the sink is full."); });
  } else if (scene == "end" && rank() == count() - 1) {
    stop_run(" ERROR: the last one fails.");
  } else if (scene == "both") {
    if (rank() > 0) stop_run(fmt::format(" ERROR: number {} fails.", rank()));
    for (;;) ranks::sum(std::int64_t{1});
  } else if (scene == "memory" && rank() == 1) {
    alloc_error("scene");
  }
  ranks::finish();
}

}  // namespace
}  // namespace quorivex::test

int main(int argc, char** argv) {
  const quorivex::ranks::World world;
  if (argc < 2) {
    testing::InitGoogleTest(&argc, argv);
    const std::int64_t failed = RUN_ALL_TESTS() == 0 ? 0 : 1;
    return quorivex::ranks::sum(failed) == 0 ? 0 : 1;
  }
  try {
    quorivex::test::play(argv[1]);
  } catch (const quorivex::StopRun& stop) {
    std::puts(std::string(quorivex::ranks::fail(stop).message()).c_str());
  }
  return 0;
}
