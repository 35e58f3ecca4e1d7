// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/error_estimate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace quorivex::test {
namespace {

void add_reading(Stations& s, double e, double n, double field, std::int32_t line,
                 double z = 80.0) {
  s.easting.push_back(e);
  s.northing.push_back(n);
  s.elevation.push_back(z);
  s.field.push_back(field);
  s.line.push_back(line);
}

/// 300 nT above a source at 800 m depth.
double deep_field(double e, double n) {
  const double r = std::hypot(e - 2000.0, n - 2000.0, 800.0);
  return 300.0 * std::pow(800.0 / r, 3.0);
}

/// 40 lines of 400 stations about 10 m apart and 20 tie lines, with white noise of 2.5 nT.
Stations flown_survey() {
  std::mt19937_64 random(7);
  std::normal_distribution<double> noise(0.0, 2.5);
  std::uniform_real_distribution<double> jitter(-1.0, 1.0);
  Stations s;
  for (std::int32_t line = 0; line < 60; ++line) {
    const double across = line < 40 ? 100.0 * line + 3.0 : 200.0 * (line - 40) + 7.0;
    for (int i = 0; i < 400; ++i) {
      const double along = 10.0 * i + jitter(random);
      const double off = across + jitter(random);
      const double e = line < 40 ? along : off;
      const double n = line < 40 ? off : along;
      add_reading(s, e, n, 50000.0 + deep_field(e, n) + noise(random), line);
    }
  }
  return s;
}

void expect_noise(const Stations& s) {
  const LineStations lines = stations_of_lines(s);
  const ErrorEstimate along = error_of_differences(s, lines);
  EXPECT_EQ(along.samples, 60 * 396);
  EXPECT_EQ(along.lines, 60);
  EXPECT_LE(std::abs(along.deviation / 2.5 - 1.0), 0.15);
  const ErrorEstimate across = error_of_crossings(s, line_crossings(s, lines).crossings);
  EXPECT_EQ(across.samples, 40 * 20);
  EXPECT_LE(std::abs(across.deviation / 2.5 - 1.0), 0.15);
}

TEST(ErrorEstimate, FindsWhiteNoiseOnASmoothFieldWhateverTheSpikes) {
  Stations s = flown_survey();
  expect_noise(s);
  for (std::size_t i = 50; i < s.size(); i += 101) s.field[i] += 250.0;
  expect_noise(s);
}

// Levels show where lines cross, and nowhere else; means of neighbours hide noise.
TEST(ErrorEstimate, SeesOfOtherErrorsWhatItSays) {
  Stations s = flown_survey();
  for (std::size_t i = 0; i < s.size(); ++i) s.field[i] += s.line[i] % 2 == 0 ? 20.0 : -20.0;
  const LineStations lines = stations_of_lines(s);
  EXPECT_LE(error_of_differences(s, lines).deviation, 2.9);
  EXPECT_GE(error_of_crossings(s, line_crossings(s, lines).crossings).deviation, 10.0);
  for (std::size_t i = 0; i + 1 < s.size(); ++i) s.field[i] = 0.5 * (s.field[i] + s.field[i + 1]);
  EXPECT_NEAR(error_of_differences(s, lines).deviation, 2.5 * std::sqrt(0.1), 0.1);
}

TEST(ErrorEstimate, TakesEvenPartsOfLinesAndNothingOfShortOnes) {
  Stations s;
  const auto cubic = [](double x) { return 5e4 + x * (3.0 - x * (0.02 - 1e-4 * x)); };
  const double uneven[] = {0, 10, 24, 35, 45, 60, 70};  // 3 differences
  for (const double x : uneven) add_reading(s, x, 0, cubic(x), 0);
  for (const double x : {0, 10, 20, 30}) add_reading(s, x, 50, x * x * x * x, 1);  // four stations
  for (const double x : {0, 10, 20, 30, 60, 70, 80, 90}) add_reading(s, x, 90, x * x, 2);  // a gap
  for (const double x : {0, 10, 20, 10, 0}) add_reading(s, x, 99, x, 3);                   // a turn
  for (int i = 0; i < 5; ++i) add_reading(s, 7, 7, i, 4);  // at rest
  const ErrorEstimate estimate = error_of_differences(s, stations_of_lines(s));
  EXPECT_EQ(estimate.samples, 3);
  EXPECT_EQ(estimate.lines, 1);
  EXPECT_EQ(estimate.left_out, 4 + 1 + 1);
  EXPECT_LE(estimate.deviation, 1e-9);
  EXPECT_EQ(error_of_differences({}, {}).samples, 0);
  EXPECT_EQ(two_digits_up(2.51), 2.6);
  EXPECT_EQ(two_digits_up(2.6), 2.6);
  EXPECT_EQ(two_digits_up(996.0), 1000.0);
}

// On stations and between them, each crossing once; at gaps, by lines that run together and at a
// line's own crossing none.
TEST(LineCrossings, AreWhereStepsOfTwoLinesMeet) {
  Stations s;
  for (const double e : {0, 10, 20, 30, 40, 90, 100}) add_reading(s, e, 0, e, 0);
  for (const double n : {-15, -5, 5, 15}) add_reading(s, 12.5, n, 100.0 + n, 1, 90.0);
  for (const double n : {-20, -10, 0, 10}) add_reading(s, 20, n, 7, 2);
  for (const double n : {20, 10, 0}) add_reading(s, 40, n, 7, 3);          // ends there
  for (const double n : {-10, 0, 10}) add_reading(s, 65, n, 7, 4);         // in the gap
  for (const double e : {0, 10, 20}) add_reading(s, e, e / 10 - 1, 7, 5);  // 6 degrees
  for (const double e : {-20, -10, -10, -20}) add_reading(s, e, -e - 30, 7, 6);
  const LineCrossings found = line_crossings(s, stations_of_lines(s));
  ASSERT_EQ(found.crossings.size(), 5U);  // line 5 meets 1 and 2 as well
  ErrorEstimate estimate = error_of_crossings(s, found.crossings);
  EXPECT_EQ(estimate.left_out, 2);  // of line 1, 10 m higher
  EXPECT_EQ(estimate.samples, 3);
  for (double& z : s.elevation) z = 0.0;
  // Lines 0 and 1: 12.5 against 100, with weights 3/4, 1/4 and 1/2, 1/2.
  std::vector<Crossing> one;
  for (const Crossing& c : found.crossings) {
    if (s.line[c.a.from] + s.line[c.b.from] == 1) one.push_back(c);
  }
  estimate = error_of_crossings(s, one);
  EXPECT_NEAR(estimate.deviation, 87.5 / std::sqrt(10.0 / 16.0 + 0.5) / 0.67449, 1e-3);
}

// A million places in no order: neither hours nor memory without end.
TEST(LineCrossings, OfAScribbleAreNone) {
  std::mt19937_64 random(3);
  std::uniform_real_distribution<double> place(0.0, 1000.0);
  Stations s;
  for (int i = 0; i < 100'000; ++i) add_reading(s, place(random), place(random), 0.0, i % 2);
  const LineCrossings found = line_crossings(s, stations_of_lines(s));
  EXPECT_TRUE(found.too_dense);
  EXPECT_TRUE(found.crossings.empty());
}

}  // namespace
}  // namespace quorivex::test
