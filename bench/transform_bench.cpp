// SPDX-License-Identifier: GPL-3.0-or-later
// The wavelet transform of a grid of 64 x 128 x 128 points on all cores, against one line after the
// other on one core.
#include <algorithm>
#include <cmath>
#include <vector>

#include "inversion/sensitivity/wtn_mod.h"
#include "paired.h"
#include "plain_products.h"

namespace quorivex::bench {
namespace {

using WTN_MOD::Filter;

constexpr std::array<std::int32_t, 3> kCounts{64, 128, 128};
constexpr std::int64_t kPoints = std::int64_t{64} * 128 * 128;

/// Eight coefficients, of which the four of Daubechies differ from zero: the time does not depend
/// on their values, and numbers that are transformed many times neither grow nor vanish.
Filter filter_of_eight() {
  const double root = std::sqrt(3.0);
  std::vector<double> low(8);
  for (std::size_t k = 0; k < 4; ++k) {
    const double sign = k == 0 || k == 1 ? 1.0 : -1.0;
    low[2 + k] = ((k == 1 || k == 2 ? 3.0 : 1.0) + sign * root) / (4.0 * std::sqrt(2.0));
  }
  return WTN_MOD::filter_setup(low);
}

std::vector<double> wave() {
  std::vector<double> values;
  for (std::int64_t i = 0; i < kPoints; ++i)
    values.push_back(std::sin(0.37 * static_cast<double>(i)));
  return values;
}

void transform(benchmark::State& state) {
  const int isign = state.range(0) == 0 ? 1 : -1;
  const Filter filter = filter_of_eight();
  const std::vector<double> start = wave();
  std::vector<double> a = start;
  std::vector<double> plain = start;
  WTN_MOD::WTN(filter, a, kCounts, isign);
  test::plain_transform(filter, plain, kCounts, isign);
  double error = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) error = std::max(error, std::abs(a[i] - plain[i]));
  if (!(error <= 1e-12)) {
    state.SkipWithError("wrong answer");
    return;
  }
  // Three walks over the grid, each reads and writes it.
  run_paired(
      state, 6.0 * 8.0 * kPoints, [&] { test::plain_transform(filter, plain, kCounts, isign); },
      [&] { WTN_MOD::WTN(filter, a, kCounts, isign); });
}

BENCHMARK(transform)
    ->Name("WTN")
    ->ArgName("0=forward,1=back")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
