// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/survey_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

namespace quorivex::test {
namespace {

struct Order {
  std::vector<double> x;
  std::vector<double> y;

  void add(double easting, double northing, int count, double east, double north) {
    for (int i = 0; i < count; ++i) {
      x.push_back(easting + i * east);
      y.push_back(northing + i * north);
    }
  }
  std::vector<SurveyLine> lines() const { return survey_lines(x, y, {}); }
};

std::vector<std::size_t> counting(std::size_t first, std::size_t last) {
  std::vector<std::size_t> data(std::max(first, last) - std::min(first, last) + 1);
  std::iota(data.begin(), data.end(), std::min(first, last));
  if (first > last) std::reverse(data.begin(), data.end());
  return data;
}

TEST(SurveyLines, OrderIsCutAtTurnsAndGaps) {
  Order order;
  order.add(0, 0, 8, 10, 1);       // eastward, with a station left out after it
  order.add(90, 9, 4, 10, 1);      // still the same line
  order.add(125, 20, 2, -1, 9);    // a turn
  order.add(118, 40, 9, -10, 0);   // back, given from west to east all the same
  order.add(40, 60, 6, 10, 0);     // 20 m away, to the side of the line before
  order.add(300, 60, 5, 10, 0);    // on the same line, but far away
  order.add(340, 60, 1, 0, 0);     // the last datum twice
  order.add(348, 66, 5, 7, 6);     // less than 45 degrees to the left: no turn
  order.add(380, 200, 6, 2, -10);  // southward: given from south to north
  const std::vector<SurveyLine> lines = order.lines();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0].data, counting(0, 11));
  EXPECT_EQ(lines[1].data, counting(22, 14));
  EXPECT_EQ(lines[2].data, counting(23, 28));
  EXPECT_EQ(lines[3].data, counting(29, 39));
  EXPECT_EQ(lines[4].data, counting(45, 40));
  EXPECT_EQ(lines[4].name, "5");
  EXPECT_FALSE(is_strip(order.x, order.y));
}

TEST(SurveyLines, AreThoseOfTheNamesWhereThereAreAny) {
  const std::vector<double> x{9, 0, 5, 1, 3, 7};
  const std::vector<double> y{0, 0, 0, 9, 9, 9};
  const std::vector<SurveyLine> lines = survey_lines(x, y, {"B", "a", "B", "a", "b", "a"});
  ASSERT_EQ(lines.size(), 2U);  // one datum is no line
  EXPECT_EQ(lines[0].name, "B");
  EXPECT_EQ(lines[0].data, (std::vector<std::size_t>{2, 0}));
  EXPECT_EQ(lines[1].data, (std::vector<std::size_t>{1, 3, 5}));
}

TEST(SurveyLines, ScatteredDataAreInNone) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> place(0.0, 1000.0);
  Order order;
  for (int i = 0; i < 300; ++i) order.add(place(random), place(random), 1, 0, 0);
  EXPECT_TRUE(order.lines().empty());
  EXPECT_TRUE(survey_lines({1.0, 1.0}, {2.0, 2.0}, {}).empty());
  EXPECT_FALSE(is_strip(order.x, order.y));
  EXPECT_FALSE(is_strip({1.0, 1.0}, {2.0, 2.0}));
}

// Two lines of 40 data 5 m apart: 57.7 m of standard deviation along them, `half` across.
TEST(SurveyLines, StripsAreFoundInAnyDirection) {
  for (const double half : {0.0, 5.6, 5.9}) {
    Order order;
    for (const double side : {-half, half}) order.add(0.8 * side, -0.6 * side, 40, 3, 4);
    EXPECT_EQ(is_strip(order.x, order.y), half < 5.77) << half;
  }
}

}  // namespace
}  // namespace quorivex::test
