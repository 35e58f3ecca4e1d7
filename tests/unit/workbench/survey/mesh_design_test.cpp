// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/mesh_design.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "base/stop_run.h"
#include "values.h"

namespace quorivex::test {
namespace {

using Numbers = std::vector<double>;

Observations stations(Numbers x, Numbers y, double z) {
  Observations data;
  data.z.assign(x.size(), z);
  data.x = std::move(x);
  data.y = std::move(y);
  return data;
}

/// Lines along easting: `count` stations a line, `along` metres apart, lines `across` metres apart.
Observations lines(int number, int count, double along, double across, double z = 100.0) {
  Numbers x, y;
  for (int line = 0; line < number; ++line) {
    for (int i = 0; i < count; ++i) {
      x.push_back(500000.0 + along * i);
      y.push_back(7000000.0 + across * line);
    }
  }
  return stations(x, y, z);
}

TEST(StationSpacing, EqualsTheDistancesOfAllPairs) {
  Numbers x = values_of_seed(301, 1);
  Numbers y = values_of_seed(301, 2);
  for (std::size_t i = 0; i < 100; ++i) x[i] = 0.25;  // a line to the north
  for (std::size_t i = 100; i < 150; ++i) x[i] = std::round(4 * x[i]), y[i] = std::round(4 * y[i]);
  Numbers nearest;
  for (std::size_t i = 0; i < x.size(); ++i) {
    bool again = false;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t j = 0; j < x.size(); ++j) {
      const double distance = std::hypot(x[i] - x[j], y[i] - y[j]);
      if (distance > 0.0) least = std::min(least, distance);
      again = again || (distance == 0.0 && j < i);
    }
    if (!again) nearest.push_back(least);
  }
  std::sort(nearest.begin(), nearest.end());
  ASSERT_LT(nearest.size(), 300U);  // some places have several stations
  const StationSpacing found = station_spacing(x, y);
  EXPECT_EQ(found.places, length(nearest));
  const std::size_t n = nearest.size();
  EXPECT_NEAR(found.median, 0.5 * (nearest[(n - 1) / 2] + nearest[n / 2]), 1e-12);
  EXPECT_EQ(station_spacing({1, 1, 1}, {2, 2, 2}).median, 0.0);
}

TEST(StationSpacing, LinesAreToldFromGridsAndSingleLines) {
  EXPECT_NEAR(line_spacing(survey_shape(lines(20, 200, 5, 60))).value(), 60.0, 3.0);
  EXPECT_NEAR(line_spacing(survey_shape(lines(2, 200, 5, 300))).value(), 300.0, 5.0);
  EXPECT_FALSE(line_spacing(survey_shape(lines(30, 30, 10, 12))));
  EXPECT_FALSE(line_spacing(survey_shape(lines(1, 200, 5, 0))));
  Numbers askew(100);
  std::iota(askew.begin(), askew.end(), 0.0);
  EXPECT_FALSE(line_spacing(survey_shape(stations(askew, askew, 0))));
}

TEST(MeshDesign, WidthsAreRoundAndGrowToTheDistance) {
  for (const auto& [width, round] : {std::pair{23.65, 23.5},
                                     {12.5, 12.5},
                                     {0.0625, 0.063},
                                     {999.0, 1000.0},
                                     {1000.0, 1000.0},
                                     {1337.0, 1350.0}}) {
    EXPECT_EQ(round_width(width), round);
  }
  EXPECT_EQ(growing_widths(10, 2, 140), (Numbers{20, 40, 80}));
  EXPECT_EQ(growing_widths(10, 2, 140.1), (Numbers{20, 40, 80, 160}));
  EXPECT_EQ(growing_widths(0.1, 1, 1), Numbers(10, 0.1));
  EXPECT_EQ(growing_widths(12.34, 1, 13), Numbers(2, 12.34));
  EXPECT_EQ(growing_widths(12.2, 1.001, 13), Numbers(2, 12.2));  // 12.0 would be less
  EXPECT_EQ(growing_widths(10, 2, 0), Numbers());
}

TEST(MeshDesign, DefaultsFollowTheSurvey) {
  const MeshPlan grid = plan_mesh(survey_shape(lines(21, 41, 50, 50, 312)), {});
  EXPECT_EQ(grid.cell, 25.0);
  EXPECT_EQ(grid.first_layer, 12.5);
  EXPECT_EQ(grid.padding, 2000.0);
  EXPECT_EQ(grid.depth, 500.0);
  EXPECT_EQ(grid.top, 300.0);
  const MeshPlan line = plan_mesh(survey_shape(lines(1, 101, 1000, 0, 100)), {});
  EXPECT_EQ(line.depth, 25000.0);
  EXPECT_EQ(line.top, 0.0);
  MeshWishes cell;
  cell.cell = 8.0;
  const SurveyShape one = survey_shape(lines(3, 1, 0, 0));
  EXPECT_EQ(plan_mesh(one, cell).padding, 80.0);
  EXPECT_THROW(plan_mesh(one, {}), StopRun);
  EXPECT_THROW(plan_mesh(survey_shape(lines(1, 9, 0.0004, 0)), {}), StopRun);  // degrees
  EXPECT_THROW(survey_shape(lines(1, 2, 1e10, 0)), StopRun);
}

TEST(MeshDesign, UnderATerrainTheTopIsItsHighestAndDepthCountsFromItsLowest) {
  const SurveyShape shape = survey_shape(lines(21, 41, 50, 50, 312));
  MeshWishes wishes;
  const MeshPlan chosen = plan_under_terrain(plan_mesh(shape, wishes), wishes, {100.0, 250.1234});
  EXPECT_EQ(chosen.top, 250.124);  // never cut off by rounding
  EXPECT_DOUBLE_EQ(chosen.depth, 500.0 + 150.124);
  EXPECT_EQ(plan_under_terrain(chosen, wishes, {0.3, 120.3}).top, 120.3);
  wishes.top = 180.0;
  EXPECT_EQ(plan_under_terrain(plan_mesh(shape, wishes), wishes, {100, 250}).top, 180.0);
  EXPECT_EQ(plan_under_terrain(plan_mesh(shape, wishes), wishes, {100, 250}).depth, 580.0);
  wishes.depth = 90.0;
  EXPECT_EQ(plan_under_terrain(plan_mesh(shape, wishes), wishes, {100, 250}).depth, 90.0);
}

TEST(MeshDesign, EveryStationHasHalfACoreCellAndThePaddingAroundIt) {
  for (const double offset : {0.0, 3.0, 12.5, 24.999}) {
    SurveyShape shape = survey_shape(lines(3, 3, 50, 100));
    shape.easting = {1000.0 + offset, 1100.0 + offset};
    const MeshPlan plan = plan_mesh(shape, {});
    const Mesh mesh = design_mesh(shape, plan);
    const auto node = [&](std::ptrdiff_t i) { return mesh.easting_nodes[std::size_t(i)]; };
    const std::ptrdiff_t west = std::find(mesh.de.begin(), mesh.de.end(), 25.0) - mesh.de.begin();
    const std::ptrdiff_t east = mesh.de.rend() - std::find(mesh.de.rbegin(), mesh.de.rend(), 25.0);
    EXPECT_EQ(std::fmod(node(west), 25.0), 0.0);
    EXPECT_LE(node(west), shape.easting.min - 12.5);
    EXPECT_GE(node(east), shape.easting.max + 12.5);
    EXPECT_LE(node(east) - node(west), 100.0 + 3 * 25.0);
    EXPECT_EQ(length(mesh.de), west + east);  // as many on both sides
    EXPECT_GE(node(west) - node(0), plan.padding);
    EXPECT_GE(node(mesh.ne) - node(east), plan.padding);
  }
}

}  // namespace
}  // namespace quorivex::test
