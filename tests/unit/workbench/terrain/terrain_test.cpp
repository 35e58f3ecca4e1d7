// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "scratch_folder.h"
#include "terrain_refusal.h"
#include "workbench/terrain/survey_ground.h"

namespace quorivex::test {
namespace {

TEST(Terrains, PointsAreJoinedToTrianglesAndImpossibleElevationsRefused) {
  const ScratchFolder folder;
  const Terrain points = read_terrain(folder.write("p.txt", "3\n0 0 1\n10 0 2\n0 10 3\n"));
  EXPECT_DOUBLE_EQ(points.elevation(2, 3), 1.8);
  expect_text(refusal_of(folder.write("p.txt", "3\n0 0 1\n10 0 -99999\n0 10 3\n")),
              "point 2 (10 E 0 N), has an elevation of -99999 m");
  expect_text(refusal_of(folder.write("p.txt", "3\n0 0 1\n10 0 2\n0 10 -9999\n")),
              "-9999 m;\n that usually marks places without a value");
}

TEST(Terrains, PlainPointsAreKnownByTheirFirstLine) {
  const ScratchFolder folder;
  const auto file = [&](const std::string& text) { return folder.write("p.xyz", text); };
  for (const char* text : {"0 0 1\n100 0 2\n0 100 3\n", "! c\n\n# d\n0,0,1,7\n100, 0, 2\n\n0,100,3",
                           "\t0;0;1\n100;0;2\n0;100;3\n",
                           "easting northing elevation\n0 0 1 x\n100 0 2\n# c\n0 100 3\n",
                           "a,b,c\r\n0,0,1\r\n100,0,2\r\n0,100,3\r\n",
                           "\"Z [m]\",id,Y,lat,X_utm\n1,9,0,-22,0\n2,9,0,,100\n3,9,100,-22,0\n",
                           "3\n0 0 1\n100 0 2\n0 100 3\n"}) {
    const Terrain points = read_terrain(file(text));
    EXPECT_DOUBLE_EQ(points.elevation(20, 30), 1.8) << text;
    EXPECT_EQ(points.description, "3 points");
  }
  const std::map<std::string, std::string> bad{
      {"0 0 1\n\n100 0\n0 100 3\n", "p.xyz, line 3, should hold easting, northing and elevation"},
      {"0 0 1\n100 x 2\n", "line 2, should hold"},
      {"0 0 1\n100 0 nan\n", "line 2, should hold"},
      {"x y z\n0 0 1\n100 0 -9999\n", "line 3, has an elevation of -9999 m;\n that usually marks"},
      {"id,x,y,depth\n1,0,0,1\n",
       "line 1, should name the columns easting, northing and elevation"},
      {"lon lat z\n140.1 -22 5\n", "holds longitudes and latitudes in degrees"},
      {"140.1 -22 5\n140.3 -22 5\n140.1 -21.9 6\n", "holds longitudes and latitudes in degrees"},
      {"0 0 1\n100 0 2\n0 0 3\n", "1 duplicate points"},
      {"3 points\n0 0 1\n100 0 2\n", "ends after 2 of 3 points"},
      {"some words\nand more\n", "'some words' is not a number of points"}};
  for (const auto& [text, why] : bad) expect_text(refusal_of(file(text)), why);
}

// The lowest of a column's nine elevations decides, but its centre is what is compared; columns and
// stations beside the survey or the mesh do not count.
TEST(Terrains, TheCellsGroundIsComparedWithTheTerrainBelowTheSurvey) {
  const ScratchFolder folder;
  Mesh mesh = read_mesh_file(folder.write("m", "3 2 4\n0 0 100\n3*10\n2*10\n4*10"));
  const Terrain cliff{.name = {},
                      .elevation = [](double e, double) { return e < 10 ? 97.0 : 72.0; }};
  Observations stations;
  stations.ndata = 3;
  stations.x = {5, 15, -50};
  stations.y = {5, 12, 5};
  stations.z = {137, 112, 137};
  ColumnTops tops = column_tops_of_terrain(mesh, cliff).tops;
  const Ground ground = make_ground(std::move(mesh), std::move(tops));
  auto gap = ground_gap(cliff, ground, stations, {40, 40, 40}).value();
  EXPECT_EQ(
      describe_gap(gap),
      "15 m below the terrain (median), 27 m (95th percentile); stations 55 m above it instead "
      "of 40 m");
  EXPECT_EQ(gap.median, 14.5);
  EXPECT_EQ(gap.height_above_cells, 54.5);
  for (const auto& [height, warned] :
       {std::pair{43.0, true}, {44.0, false}, {0.0, true}, {-5.0, false}}) {
    gap.height = height;
    bool told = false;
    warn_of_gap(gap, [&](const std::string&) { told = true; });
    EXPECT_EQ(told, warned) << height;
  }
  stations.x = {-50, -40, -60};
  EXPECT_FALSE(ground_gap(cliff, ground, stations, {40, 40, 40}));
}

}  // namespace
}  // namespace quorivex::test
