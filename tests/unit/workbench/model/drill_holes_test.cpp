// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/drill_holes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "base/stop_run.h"
#include "prism_mesh.h"
#include "scratch_folder.h"
#include "workbench/model/hole_cells.h"
#include "workbench/model/unit_table.h"

namespace quorivex::test {
namespace {

constexpr double kHalfTurn = 3.14159265358979323846;

double distance(const SpacePoint& a, const SpacePoint& b) {
  return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

TEST(Desurvey, StraightHoleGoesWithItsAzimuthFromTheCollarOn) {
  const SpacePoint collar{1000.0, 2000.0, 300.0};
  const double down = std::sqrt(0.75);
  // East; the first direction is measured below the collar, the last far above the end.
  const HolePath east = desurvey(collar, {{30.0, 90.0, -60.0}, {50.0, 450.0, -60.0}});
  for (const double depth : {0.0, 10.0, 30.0, 45.0, 50.0, 400.0}) {
    const SpacePoint expected{1000.0 + 0.5 * depth, 2000.0, 300.0 - down * depth};
    EXPECT_LE(distance(place_at(east, depth), expected), 1e-9) << depth;
  }
  const SpacePoint south = place_at(desurvey(collar, {{0.0, 180.0, 0.0}}), 7.0);
  EXPECT_LE(distance(south, {1000.0, 1993.0, 300.0}), 1e-9);
  EXPECT_LE(distance(place_at(desurvey(collar, {HoleDirection{}}), 7.0), {1000.0, 2000.0, 293.0}),
            1e-9);
}

// From vertical to horizontal along a quarter of a circle towards azimuth 30, then straight on.
TEST(Desurvey, ArcOfACircleIsExact) {
  const double radius = 200.0;
  const double quarter = 0.5 * kHalfTurn * radius;
  const double sine = 0.5;
  const double cosine = std::sqrt(0.75);
  const auto on_circle = [&](double depth) {
    const double angle = std::min(depth / radius, 0.5 * kHalfTurn);
    const double ahead = radius * (1.0 - std::cos(angle)) + std::max(depth - quarter, 0.0);
    return SpacePoint{ahead * sine, ahead * cosine, -radius * std::sin(angle)};
  };
  for (const double middle : {0.2, 0.5}) {  // a direction on the way changes nothing
    const HolePath path =
        desurvey({0.0, 0.0, 0.0}, {{0.0, 30.0, -90.0},
                                   {middle * quarter, 30.0, -90.0 + 90.0 * middle},
                                   {quarter, 30.0, 0.0}});
    for (const double part : {0.0, 0.1, 0.33, 0.5, 0.9, 1.0, 1.5}) {
      EXPECT_LE(distance(place_at(path, part * quarter), on_circle(part * quarter)), 1e-9) << part;
    }
    const std::vector<SpacePoint> pieces = places_between(path, 3.0, quarter + 50.0);
    EXPECT_LE(distance(pieces.front(), on_circle(3.0)), 1e-9);
    EXPECT_LE(distance(pieces.back(), on_circle(quarter + 50.0)), 1e-9);
    for (std::size_t n = 1; n < pieces.size(); ++n) {
      // The middle of each chord lies within a centimetre of the circle.
      const double z = 0.5 * (pieces[n - 1][2] + pieces[n][2]);
      const double ahead =
          std::hypot(pieces[n - 1][0] + pieces[n][0], pieces[n - 1][1] + pieces[n][1]) * 0.5;
      if (ahead >= radius) continue;
      EXPECT_LE(std::abs(std::hypot(ahead - radius, z) - radius), 0.0101);
    }
  }
}

/// Uneven along every axis, with air of 0 to 2 layers.
Ground stepped_ground() {
  const Ground all = ground_of({0.0, 10.0, 40.0, 55.0}, {0.0, 20.0, 25.0, 40.0, 70.0},
                               {50.0, 46.0, 40.0, 25.0, 0.0, -60.0});
  ColumnTops tops = all.tops;
  for (std::size_t n = 0; n < tops.tops.size(); ++n) {
    tops.tops[n] = static_cast<std::int32_t>(n % 3);
  }
  return make_ground(all.mesh, tops);
}

/// Interval of each ground cell from samples of the paths 2 cm apart; -1 where two are about equal.
std::vector<std::int32_t> sampled_intervals(const Ground& ground, const DrillHoles& holes,
                                            double reach) {
  constexpr double kStep = 0.02;
  std::vector<std::int32_t> found;
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const Mesh& mesh = ground.mesh;
    const SpacePoint low{mesh.easting_nodes[as_size(at.i - 1)],
                         mesh.northing_nodes[as_size(at.j - 1)], ground.elevation(at.k + 1)};
    const SpacePoint high{mesh.easting_nodes[as_size(at.i)], mesh.northing_nodes[as_size(at.j)],
                          ground.elevation(at.k)};
    const SpacePoint centre{0.5 * (low[0] + high[0]), 0.5 * (low[1] + high[1]),
                            0.5 * (low[2] + high[2])};
    std::multimap<double, std::int32_t> by_length;
    std::multimap<double, std::int32_t> by_distance;
    for (std::size_t n = 0; n < holes.intervals.size(); ++n) {
      const HoleInterval& part = holes.intervals[n];
      double inside = 0.0;
      double nearest = 1e9;
      for (int step = 0; step * kStep < part.to - part.from; ++step) {
        const SpacePoint place = place_at(holes.paths[part.hole], part.from + (step + 0.5) * kStep);
        bool within = true;
        for (std::size_t a = 0; a < 3; ++a) {
          within = within && place[a] > low[a] && place[a] < high[a];
        }
        if (within) inside += kStep;
        nearest = std::min(nearest, distance(place, centre));
      }
      by_length.emplace(-inside, static_cast<std::int32_t>(n + 1));
      by_distance.emplace(nearest, static_cast<std::int32_t>(n + 1));
    }
    const bool passed = by_length.begin()->first < 0.0;
    const auto& order = passed ? by_length : by_distance;
    const bool none = !passed && by_distance.begin()->first > reach;
    const bool unsure = std::next(order.begin())->first - order.begin()->first < 0.1;
    found.push_back(none ? 0 : unsure ? -1 : order.begin()->second);
  });
  return found;
}

TEST(HoleCells, LongestPathInACellThenTheNearestWithinReach) {
  const Ground ground = stepped_ground();
  DrillHoles holes;
  // Down to the north-east, bending; across the mesh from outside; above the ground only.
  holes.paths = {desurvey({5.0, 3.0, 49.0}, {{0.0, 20.0, -50.0}, {60.0, 70.0, -70.0}}),
                 desurvey({-30.0, 60.0, 20.0}, {{0.0, 100.0, -20.0}}),
                 desurvey({50.0, 60.0, 90.0}, {HoleDirection{}})};
  holes.intervals = {{0, 0.0, 7.0},  {0, 7.0, 8.0},   {0, 9.0, 33.0}, {0, 40.0, 95.0},
                     {1, 2.0, 50.0}, {1, 50.0, 51.0}, {2, 0.0, 30.0}};
  for (const double reach : {0.0, 6.0, 15.0, 1000.0}) {
    const std::vector<std::int32_t> expected = sampled_intervals(ground, holes, reach);
    const HoleCells cells = cells_of_holes(ground, holes, reach);
    std::int64_t compared = 0;
    for (std::size_t cell = 0; cell < expected.size(); ++cell) {
      if (expected[cell] < 0) continue;
      EXPECT_EQ(cells.intervals[cell], expected[cell]) << "cell " << cell << " reach " << reach;
      ++compared;
    }
    EXPECT_GE(compared, length(expected) - 4);
    EXPECT_EQ(std::count(expected.begin(), expected.end(), 0) == 0, reach == 1000.0);
  }
}

/// Intervals that pass a large cell far from its centre, or lie above or beside the ground.
TEST(HoleCells, ACoarseCellIsNotMissedAndNothingIsDroppedWithoutACount) {
  const Ground ground = ground_of({0.0, 500.0, 1000.0}, {0.0, 400.0}, {0.0, -100.0, -300.0}, 1);
  DrillHoles holes;
  holes.paths = {desurvey({1.0, 2.0, 0.0}, {HoleDirection{}}),
                 desurvey({-50.0, 2.0, 0.0}, {HoleDirection{}})};
  holes.intervals = {{0, 0.0, 90.0}, {0, 290.0, 291.0}, {1, 100.0, 200.0}};
  const HoleCells cells = cells_of_holes(ground, holes, 5.0);
  EXPECT_EQ(cells.intervals, (std::vector<std::int32_t>{2, 0}));
  SourceNotes notes;
  note_reach(ground, holes, cells, notes);
  EXPECT_EQ(notes.remarks[0],
            "1 cells that holes pass through and 0 others within reach have a value");
  EXPECT_EQ(notes.remarks[1],
            "2 of 3 intervals give their value to no cell; the middles of 1 lie "
            "outside the mesh");
  EXPECT_TRUE(
      notes.warnings[0].starts_with("the middles of 1 of 3 intervals lie above the ground"));
}

struct Files {
  std::string collars = "HoleID;X;Y;RL\nA;100;200;50\nB;300;200;60\nB;300;200;60\nC;1;1;1\n";
  std::string surveys = "BHID,Depth,AZI,Dip\nA,40,90,-45\nA,0,90,-45\nZ,0,0,-90\n";
  std::string intervals =
      "hole_id,rock,from,To,kappa\nB,Shale,10,20,0.2\nA,sand,7,9,0.3\nB,3.0,5,10,0.1\nA,sand,0,7,*"
      "\n";
};

DrillHoles read(const Files& files, SourceNotes& notes, std::map<std::string, std::string> names) {
  const ScratchFolder folder;
  const HoleTables tables{folder.write("collars.csv", files.collars),
                          files.surveys.empty() ? "" : folder.write("surveys.csv", files.surveys),
                          folder.write("intervals.csv", files.intervals)};
  return read_drill_holes(tables, {{"kappa"}, "rock", {"*"}, std::move(names)}, notes);
}

std::string refusal(const Files& files, std::map<std::string, std::string> names = {}) {
  try {
    SourceNotes notes;
    read(files, notes, std::move(names));
  } catch (const StopRun& stop) {
    return std::string(stop.console());
  }
  return "not refused";
}

void expect_part(const std::string& whole, const std::string& part) {
  EXPECT_NE(whole.find(part), std::string::npos) << part << "\n" << whole;
}

TEST(DrillHoles, TablesInAnyOrderWithTheirUsualNames) {
  SourceNotes notes;
  const DrillHoles holes = read({}, notes, {});
  ASSERT_EQ(holes.intervals.size(), 3U);
  EXPECT_EQ(holes.intervals[0].hole, 0U);
  EXPECT_EQ(holes.intervals[1].from, 5.0);
  EXPECT_EQ(holes.values[0], (std::vector<double>{0.3, 0.1, 0.2}));
  EXPECT_EQ(holes.units, (std::vector<std::string>{"sand", "3.0", "Shale"}));
  const double side = std::sqrt(0.5) * 10.0;
  EXPECT_LE(distance(place_at(holes.paths[0], 10.0), {100.0 + side, 200.0, 50.0 - side}), 1e-9);
  EXPECT_LE(distance(place_at(holes.paths[1], 10.0), {300.0, 200.0, 50.0}), 1e-9);
  std::string all;
  for (const auto* texts : {&notes.remarks, &notes.warnings}) {
    for (const std::string& text : *texts) all += text + "\n";
  }
  expect_part(all, "1 rows left out that repeat the collar");
  expect_part(all, "surveys.csv: 1 rows left out whose hole is not in");
  expect_part(all, "intervals.csv: 4 rows read, 1 left out as marked missing (kappa 1)");
  expect_part(all, "2 of 3 holes have no row in");
  expect_part(all, "2 holes with 3 intervals; 1 holes of");
}

TEST(DrillHoles, DirectionsOfTheCollarsAndOtherNames) {
  Files files;
  files.surveys = "";
  files.collars = "who,x,easting,y,z,azi,incl\nA,7,100,200,50,180,-30\nB,7,1,1,1,0,10\n";
  SourceNotes notes;
  const DrillHoles holes = read(files, notes, {{"hole", "who"}, {"easting", "#3"}});
  EXPECT_LE(distance(place_at(holes.paths[0], 10.0), {100.0, 200.0 - std::sqrt(75.0), 45.0}), 1e-9);
  expect_part(refusal(files), "collars.csv line 1 should have one column 'hole'");
  expect_part(refusal(files, {{"hole", "who"}}),
              "one column 'easting', 'east' or 'x' (columns=easting:NAME");
  expect_part(refusal(files, {{"hole", "who"}, {"easting", "x"}, {"azimuth", "no"}}), "'no', once");
  files.collars = "hole,x,y,z,dip\nA,1,2,3,45\nB,1,1,1,\n";
  expect_part(refusal(files), "hole 'A' has the dip 45 and no azimuth");
  files.collars = "hole,x,y,z,dip,azimuth\nA,1,2,3,45,7\nB,1,1,1,,*\nB,1,1,1,,*\n";
  EXPECT_LE(distance(place_at(read(files, notes, {}).paths[1], 4.0), {1.0, 1.0, -3.0}), 1e-9);
  files.collars = "hole,x,y,z,dip,azimuth\nA,1,2,3,45,7\nB,1,1,1,45,7\n";
  read(files, notes, {});
  expect_part(notes.warnings.back(), "2 of 2 holes go up");
}

TEST(DrillHoles, FaultsNameFileAndLine) {
  const auto with = [](std::string Files::*table, const std::string& row) {
    Files files;
    files.*table += row;
    return refusal(files);
  };
  expect_part(with(&Files::intervals, "B,x,15,16,1\n"), "line 6: it overlaps 10 to 20 m of line 2");
  expect_part(with(&Files::intervals, "B,x,3,5.1,1\n"), "line 4: it overlaps 3 to 5.1 m of line 6");
  expect_part(with(&Files::intervals, "A,x,30,30,1\n"),
              "line 6: from 30 should be less than to 30");
  expect_part(with(&Files::intervals, "b,x,30,31,1\n"), "line 6: hole 'b' is not in ");
  expect_part(with(&Files::intervals, "B,,30,31,1\n"), "unit (column 2) is empty; 'missing=empty'");
  expect_part(with(&Files::intervals, "B,x,30,31,-9999\n"), "'missing=-9999' leaves it out");
  expect_part(with(&Files::intervals, "B,x,30,3e300,1\n"),
              "line 6: to (column 4) should be a number");
  expect_part(with(&Files::collars, "B;300;200;61\n"), "line 6: hole 'B' has another collar above");
  expect_part(with(&Files::surveys, "A,40,91,-45\n"),
              "line 5: hole 'A' has another direction at 40 m");
  expect_part(with(&Files::surveys, "A,41,270,45\n"),
              "line 5: hole 'A' has the opposite direction");
  expect_part(with(&Files::surveys, "A,-1,0,-45\n"), "line 5: depth (column 2)");
}

TEST(UnitTable, NumbersCompareByValueAndUnknownUnitsAreListed) {
  const ScratchFolder folder;
  const UnitCodes units = code_units({"3.0", "base", "3", "Base", "-0", "base"});
  EXPECT_EQ(units.of_row, (std::vector<std::int32_t>{1, 2, 1, 3, 4, 2}));
  const SourceColumns columns{{"k", "max"}, "rock", {}, {}};
  SourceNotes notes;
  const auto values = [&](const std::string& text) {
    const UnitTable table = read_unit_table(folder.write("u.csv", text), columns, notes);
    return values_of_units(table, units, "data.csv", notes);
  };
  const std::vector<std::vector<double>> expected{{1, 2, 9, 4}, {10, 20, 90, 40}};
  EXPECT_EQ(values("max,unit,k\n10,3.00,1\n20,base,2\n40,0,4\n90,*,9\n5,unused,5\n"), expected);
  expect_part(notes.warnings.back(), "1 units of data.csv are not in");
  try {
    values("max,unit,k\n10,3,1\n40,0,4\n");
    ADD_FAILURE() << "not refused";
  } catch (const StopRun& stop) {
    expect_part(std::string(stop.console()), "'base' (2), 'Base' (1).");
  }
  EXPECT_THROW(values("max,unit,k\n10,3,1\n40,3.0,4\n1,*,1\n"), StopRun);
}

}  // namespace
}  // namespace quorivex::test
