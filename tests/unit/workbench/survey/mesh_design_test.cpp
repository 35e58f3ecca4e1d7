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

/// Lines 150 m apart, turned by `degrees`: a gap, tie lines, and positions that are off by up to 2
/// m.
Observations flown(double degrees, double spacing = 20.0) {
  const double turn = degrees / 57.29577951308232;
  const Numbers off = values_of_seed(20000, 7);
  Numbers x, y;
  const auto add = [&](double along, double across) {
    along += 2.0 * off[2 * x.size()];
    across += 2.0 * off[2 * x.size() + 1];
    x.push_back(along * std::cos(turn) - across * std::sin(turn));
    y.push_back(along * std::sin(turn) + across * std::cos(turn));
  };
  for (int line = 0; line < 20; ++line) {
    for (int i = 0; i < 150; ++i) {
      if (line < 6 || line > 8 || i > 60) add(spacing * i, 150.0 * line);
    }
  }
  for (int tie = 0; tie < 3; ++tie) {
    for (int i = 0; i < 150; ++i) add(1000.0 * tie + 7.0, 20.0 * i + 5.0);
  }
  return stations(x, y, 0);
}

TEST(StationSpacing, LinesAreFoundInAnyDirectionAndToldFromGridsAndSingleLines) {
  const auto between = [](const Observations& data) { return survey_shape(data).stations.lines; };
  for (const double degrees : {0.0, 30.0, 45.0, 100.0})
    EXPECT_NEAR(between(flown(degrees)).value_or(0), 148.0, 4.0) << degrees;
  EXPECT_NEAR(between(flown(30.0, 2.5)).value_or(0), 147.0, 4.0);
  EXPECT_EQ(between(lines(20, 200, 5, 60)), 60.0);
  EXPECT_EQ(between(lines(2, 200, 5, 300)), 300.0);
  EXPECT_EQ(between(lines(20, 20, 98, 200)), 200.0);
  EXPECT_FALSE(between(lines(30, 30, 10, 19)));
  EXPECT_FALSE(between(lines(1, 200, 5, 0)));
  Numbers askew(100);
  std::iota(askew.begin(), askew.end(), 0.0);
  EXPECT_FALSE(between(stations(askew, askew, 0)));
  EXPECT_FALSE(between(stations(askew, Numbers(100, 0.0), 0)));
  EXPECT_FALSE(between(stations(values_of_seed(2000, 3), values_of_seed(2000, 4), 0)));
  Numbers corner_x = askew, corner_y(100, 0.0);  // a line that turns by a right angle
  for (int i = 1; i < 100; ++i) corner_x.push_back(99), corner_y.push_back(i);
  EXPECT_FALSE(between(stations(corner_x, corner_y, 0)));
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

TEST(MeshDesign, CoreCellsFollowTheLinesButNotBelowHalfTheClearance) {
  struct Case {
    double along, across;
    std::optional<double> clearance;
    double cell;
    CellFrom from;
  };
  for (const Case& c :
       {Case{20, 100, {}, 25, CellFrom::lines}, Case{20, 100, 40, 25, CellFrom::lines},
        Case{20, 100, 60, 30, CellFrom::clearance}, Case{50, 50, 40, 25, CellFrom::stations},
        Case{50, 50, 60, 30, CellFrom::clearance}, Case{50, 90, -400, 25, CellFrom::stations}}) {
    const MeshPlan plan =
        plan_mesh(survey_shape(lines(21, 41, c.along, c.across)), {}, c.clearance);
    EXPECT_EQ(plan.cell, c.cell) << c.along << " " << c.across;
    EXPECT_EQ(plan.cell_from, c.from) << c.along << " " << c.across;
  }
  const MeshPlan two_lines = plan_mesh(survey_shape(lines(2, 201, 5, 300)), {});
  EXPECT_EQ(two_lines.cell, 50.0);
  EXPECT_EQ(two_lines.cell_from, CellFrom::extent);
  MeshWishes wishes;
  wishes.cell = 7.0;
  EXPECT_EQ(plan_mesh(survey_shape(lines(21, 41, 20, 100)), wishes, 60.0).cell, 7.0);
}

TEST(MeshDesign, UnderATerrainTheTopIsItsHighestAndDepthCountsFromItsLowest) {
  const SurveyShape shape = survey_shape(lines(21, 41, 50, 50, 312));
  MeshWishes wishes;
  const auto under = [&](const Interval& terrain) {
    return plan_under_terrain(plan_mesh(shape, wishes), wishes, {terrain, terrain, 40.0});
  };
  EXPECT_EQ(under({100.0, 250.1234}).top, 250.124);  // never cut off by rounding
  EXPECT_DOUBLE_EQ(under({100.0, 250.1234}).depth, 500.0 + 150.124);
  EXPECT_EQ(under({0.3, 120.3}).top, 120.3);
  EXPECT_EQ(under({120.3, 120.3}).first_layer, 12.5);  // level, and met exactly
  wishes.top = 180.0;
  EXPECT_EQ(under({100, 250}).top, 180.0);
  EXPECT_EQ(under({100, 250}).depth, 580.0);
  wishes.depth = 90.0;
  EXPECT_EQ(under({100, 250}).depth, 90.0);
}

// Layers that thicken within the relief, or stay thin beyond it.
TEST(MeshDesign, LayersAreEquallyThinThroughTheReliefOfTheSurvey) {
  const SurveyShape shape = survey_shape(lines(21, 41, 50, 50, 312));
  MeshWishes wishes;
  wishes.bottom_layers = 0;
  wishes.depth = 300.0;
  const auto under = [&](const SurveyTerrain& terrain) {
    return design_mesh(shape, plan_under_terrain(plan_mesh(shape, wishes), wishes, terrain));
  };
  // Mountains beside the survey to 260 m; below it 150 to 195 m; a quarter of the clearance is 10
  // m.
  const Mesh mesh = under({{90, 260}, {150, 195}, 40});
  EXPECT_EQ(mesh.z0, 260.0);
  const Numbers expected{19.5, 15.5, 12.5, 10, 10, 10, 10, 10, 10, 10, 12.5, 15.5, 19.5};
  ASSERT_GT(mesh.dz.size(), expected.size());
  EXPECT_EQ(Numbers(mesh.dz.begin(), mesh.dz.begin() + 13), expected);
  EXPECT_GE(mesh.depth_nodes.back(), 300.0);
  EXPECT_EQ(under({{150, 195}, {150, 195}, 4}).dz[0], 2.5);     // a tenth of the cell
  EXPECT_EQ(under({{150, 195}, {150, 195}, 400}).dz[0], 12.5);  // half of it
  wishes.first_layer = 20.0;
  wishes.layer_growth = 2.0;
  EXPECT_EQ(under({{90, 190}, {150, 190}, 40}).dz, (Numbers{20, 20, 40, 80, 160}));
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
