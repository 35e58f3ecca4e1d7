// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/exact_sums.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "inversion/sensitivity/full_sens_mod.h"
#include "values.h"

namespace quorivex::test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

std::vector<double> product(const std::vector<std::vector<float>>& rows,
                            const std::vector<double>& x) {
  SensitivityState sens;
  sens.ndata = static_cast<std::int32_t>(rows.size());
  sens.nsens = static_cast<std::int32_t>(x.size());
  sens.Gfull = {length(x), UninitializedArray<float>(length(rows) * length(x), "test")};
  float* to = sens.Gfull.values.data();
  for (const std::vector<float>& row : rows) to = std::copy(row.begin(), row.end(), to);
  sens.norms = row_norms(sens.Gfull, sens.ndata);
  std::vector<double> d(rows.size(), -7.0);
  FULL_SENS_MOD::CALC_FULL_GV(sens, x, d);
  return d;
}

// A sum at the bound, of either sign; units that no double can be, at both ends of its range.
TEST(ExactSums, ReachTheirBoundAtEveryScale) {
  const std::vector<float> ones(300, 1.0F);
  const std::vector<float> minus(300, -1.0F);
  for (const double x : {1.0, 0x1p-1000, 0x1p-1022, 0x1p1000, 0x1.8p0}) {
    EXPECT_EQ(product({ones, minus, std::vector<float>(300)}, std::vector<double>(300, x)),
              (std::vector{300.0 * x, -300.0 * x, 0.0}))
        << x;
    EXPECT_EQ(product({{1.0F}, {-0x1p-140F}}, {x}), (std::vector{x, x * -0x1p-140}));
  }
  // Below 2^-1024 there is nothing.
  EXPECT_EQ(product({{1.0F}}, {0x1p-1025}), std::vector{0.0});
}

// What is not finite found in the vector elements or behind them; it reaches no other row, and a
// sum that overflows is no number.
TEST(ExactSums, WhatIsNotFiniteSpoilsItsRowAlone) {
  constexpr float kBad[] = {std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::infinity()};
  for (const std::size_t at : {0U, 7U, 130U, 136U}) {
    std::vector<std::vector<float>> rows(5, std::vector<float>(137, 1.0F));
    rows[1][at] = kBad[at % 2];
    rows[4][at] = -kBad[1 - at % 2];
    std::vector<double> x(137, 2.0);
    const std::vector<double> d = product(rows, x);
    for (const std::size_t row : {0U, 2U, 3U}) EXPECT_EQ(d[row], 274.0);
    EXPECT_TRUE(std::isnan(d[1]) && std::isnan(d[4]));
    for (const double bad : {kNaN, kInfinite, -kInfinite}) {
      x[at] = bad;
      for (const double value : product(rows, x)) EXPECT_TRUE(std::isnan(value));
    }
    x[at] = std::numeric_limits<double>::max();
    EXPECT_TRUE(std::isnan(product(rows, x)[0]));
  }
}

// A norm that is too large costs digits: rows of values of very different sizes.
TEST(ExactSums, AreCloserThanSumsOfDoubles) {
  std::vector<float> row;
  std::vector<double> x = values_of_seed(20000, 3);
  long double expected = 0.0L;
  for (std::size_t i = 0; i < x.size(); ++i) {
    row.push_back(static_cast<float>(std::sin(i) * std::exp2(-double(i % 40))));
    expected += static_cast<long double>(row[i]) * static_cast<long double>(x[i]);
  }
  const double error = product({row}, x)[0] - static_cast<double>(expected);
  EXPECT_NEAR(error, 0.0, 1e-15 * std::abs(static_cast<double>(expected)));
}

// Many parts that are small against the bound and of one sign: units that are cut off add up.
TEST(ExactSums, RoundWithoutBias) {
  std::vector<double> x = values_of_seed(std::size_t{1} << 17, 5);
  for (double& value : x) value = 1e-9 * std::abs(value);
  x[100] = 1.0;
  const long double expected = std::accumulate(x.begin(), x.end(), 0.0L);
  const double sum = product({std::vector<float>(x.size(), 1.0F)}, x)[0];
  EXPECT_NEAR(sum, static_cast<double>(expected), 2e-12);  // cut off: 1e-11
}

}  // namespace
}  // namespace quorivex::test
