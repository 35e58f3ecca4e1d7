// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <map>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "values.h"
#include "workbench/terrain/surface_points.h"
#include "workbench/terrain/terrain_tops.h"
#include "workbench/terrain/triangulation.h"

namespace quorivex::test {
namespace {

using Numbers = std::vector<double>;
using Counts = std::vector<std::int32_t>;
using Texts = std::vector<std::string>;

template <class Function>
TerrainTops tops_below(const Mesh& mesh, const Function& elevation) {
  return column_tops_of_terrain(mesh, {.name = {}, .elevation = elevation});
}

Mesh mesh_of(const std::string& text) { return read_mesh_file(ScratchFolder().write("m", text)); }

// 100 m x 100 m; a quarter of the first cell's smaller width is 2.5 m.
constexpr const char* kMesh = "2 2 4\n0 0 100\n10 90\n20 80\n4*25";
constexpr const char* kWarning = "Topography region is not large enough.";

/// What reading a file with this text gave.
struct Outcome {
  explicit Outcome(const std::string& text, const std::string& mesh_text = kMesh) {
    const ScratchFolder folder;
    const Mesh mesh = mesh_of(mesh_text);
    name = text == "no file" ? folder.path("f") : folder.write("f", text);
    try {
      points = read_surface_points(
          name, mesh, [this](const std::string& warning) { warnings.push_back(warning); });
      tops = read_topography(name, mesh, [](const std::string&) {}).tops;
    } catch (const StopRun& stop) {
      end = stop.console();
    }
  }

  std::string name, end;
  Texts warnings;
  SurfacePoints points;
  Counts tops;
};

TEST(Topography, FilesThatCannotBeUsedStopWithTheirMessage) {
  const Outcome missing("no file");
  EXPECT_EQ(missing.end, "\n ERROR: topography file not found: " + missing.name + "\n");
  const std::map<std::string, std::string> bad_files{
      {"", "no line with their number"},
      {"!\n! c", "no line with their number"},
      {"\n3\n0 0 0\n90 0 0\n0 90 0", "'' is not a number of points"},
      {"0\n", "'0' is not"},
      {"-1\n1 1 1", "'-1' is not"},
      {"3.5\n", "'3.5' is not"},
      {"x,y,z\n1,2\n", "'x,y,z' is not a number"},
      {"100 90\n0 90 5\n", "ends after 1 of 100 points.\n"},
      {"3\n0 0 0\n90 0 0\n0 90", "ends after 2 of 3 points.\n"},
      {"3\n0 0 0\n90 0 x\n0 90 0", "point 2 of 3 is not easting, northing and elevation.\n"},
      {"3\n! c\n0 0 0\n90 0 0\n0 90 0", "point 1 of 3 is not"},
      {"2147483647\n0 0 0\n90 0 0", "ends after 2 of"}};
  for (const auto& [text, why] : bad_files) {
    const Outcome bad(text);
    EXPECT_TRUE(bad.end.ends_with("\n\nERROR reading topography file " + bad.name + "\n\n"))
        << bad.end;
    EXPECT_NE(bad.end.find(why), std::string::npos) << bad.end;
  }
  for (const char* text :
       {"2\n100 0 0\n150 50 0", "2\n-9 0 0\n0 50 0", "2\n0 100 0\n50 150 0", "2\n0 -9 0\n50 0 0"})
    EXPECT_EQ(Outcome(text).end, "\nError: Topography is outside the mesh.\n\n") << text;
  EXPECT_EQ(Outcome("! c\n!\n3 points\n-1 -1 5 first\n\n50,50\n6\n102 102 7").end,
            "\nError: Points in the topography file are collinear.\n\n");
}

TEST(Topography, PointsInOnePlaceAreListedAndCountedInPairs) {
  const Outcome few("7\n0 0 1\n101 0 2\n-0. 0 3\n0 101 4\n101 0 -5\n101 101 6\n0 0 7");
  EXPECT_EQ(few.end,
            "\nDuplicate points:\n"
            "         -0.0000          0.0000        3.0000\n"
            "          0.0000          0.0000        7.0000\n"
            "          0.0000          0.0000        7.0000\n"
            "        101.0000          0.0000       -5.0000\n"
            "\nError: 4 duplicate points found in topography file.\n\n");

  std::string text = "100000\n";
  for (int i = 0; i < 100000; ++i) text += "50 50 5\n";
  const Outcome many(text);
  EXPECT_EQ(std::count(many.end.begin(), many.end.end(), '\n'), 1006);  // 1000 of them points
  EXPECT_TRUE(
      many.end.ends_with("\nand 4999949000 more\n\n"
                         "Error: 4999950000 duplicate points found in topography file.\n\n"));
}

TEST(Topography, FewPointsAreWarnedOfAndCornersTakeTheElevationNearestToThem) {
  const std::string west = "4\n-900 0 0\n-900 100 0\n";  // 30 % of the mesh, or a little less
  EXPECT_EQ(Outcome(west + "30 0 0\n30 100 0").warnings, Texts());
  EXPECT_EQ(Outcome(west + "29.99 0 0\n29.99 100 0").warnings, Texts{kWarning});
  const Outcome stopped(west + "29 0 0\n29 0 0");  // the warning is not lost with what follows
  EXPECT_NE(stopped.end.find("1 duplicate points"), std::string::npos);
  EXPECT_EQ(stopped.warnings, Texts{kWarning});
  const SurfacePoints all = Outcome("4\n80 10 1\n10 10 2\n10 80 3\n80 80 4").points;
  EXPECT_EQ(all.easting, (Numbers{80, 10, 10, 80, 0, 0, 100, 100}));
  EXPECT_EQ(all.northing, (Numbers{10, 10, 80, 80, 0, 100, 0, 100}));
  EXPECT_EQ(all.elevation, (Numbers{1, 2, 3, 4, 2, 3, 1, 4}));
  // South-west 2.5 m away, south-east a little more; the points reach the northern edge.
  const SurfacePoints one = Outcome("4\n1.5 2 1\n98 2 2\n50 100 3\n60 100 4").points;
  EXPECT_EQ(one.easting, (Numbers{1.5, 98, 50, 60, 100}));
  EXPECT_EQ(one.elevation, (Numbers{1, 2, 3, 4, 2}));
  // Of two points equally near the first counts, and corners do not count at all.
  const SurfacePoints two = Outcome("3\n40 50 1\n50 40 2\n60 70 3").points;
  // A corner that is outside on one axis only is left out.
  EXPECT_EQ(Outcome("3\n40 -5 1\n60 -5 2\n50 60 3").points.northing,
            (Numbers{-5, -5, 60, 100, 100}));
  EXPECT_EQ(Outcome("3\n40 105 1\n60 105 2\n50 60 3").points.northing,
            (Numbers{105, 105, 60, 0, 0}));
  EXPECT_EQ(Outcome("3\n-5 40 1\n-5 60 2\n60 50 3").points.easting,
            (Numbers{-5, -5, 60, 100, 100}));
  EXPECT_EQ(Outcome("3\n105 40 1\n105 60 2\n60 50 3").points.easting,
            (Numbers{105, 105, 60, 0, 0}));
  EXPECT_EQ(two.elevation, (Numbers{1, 2, 3, 1, 1, 2, 3}));
}

TEST(Topography, AColumnIsAirDownToTheLayerThatHoldsItsLowestGround) {
  const Mesh mesh = mesh_of("2 3 3\n0 0 100\n8 4\n6 2 2\n10 20 30");
  const std::map<double, std::int32_t> levels{{1e30, 0}, {100, 0}, {99, 1}, {90, 1}, {89, 2},
                                              {70, 2},   {69, 3},  {40, 3}, {39, 3}, {-1e30, 3}};
  for (const auto& [level, air] : levels)
    EXPECT_EQ(column_tops_of_terrain(mesh, level_terrain(level)).tops.tops, Counts(6, air));
  // A level surface from a file is level to the last bit.
  EXPECT_EQ(Outcome("3\n-9 -9 75\n93 -7 75\n-3 91 75").tops, Counts(4, 1));
  // A pit at one place of the refined grid is seen once, by the columns that touch it.
  const Numbers eastings{0, 4, 8, 10, 12};
  const Numbers northings{0, 3, 6, 7, 8, 9, 10};
  for (int at = 0; at < 35; ++at) {
    int seen = 0;
    const TerrainTops found = tops_below(mesh, [&](double e, double n) {
      if (e != eastings[as_size(at % 5)] || n != northings[as_size(at / 5)]) return 1e3;
      ++seen;
      return 75.0;
    });
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(found.min, 75.0);
    EXPECT_EQ(found.max, 1e3);
    for (int i = 0; i < 6; ++i) {
      const bool apart =
          std::abs(at % 5 - i / 3 * 2 - 1) > 1 || std::abs(at / 5 - i % 3 * 2 - 1) > 1;
      EXPECT_EQ(found.tops.tops[as_size(i)], apart ? 0 : 2);
    }
  }
}

TEST(Topography, APlaneFromAFileGivesTheTopsOfThePlane) {
  const std::string mesh = "9 6 40\n0 0 100\n9*7\n6*11\n40*2.5";
  const auto plane = [](double e, double n) { return 81.03 - 0.7 * e + 0.4 * n; };
  const Numbers at = values_of_seed(400, 1);
  std::string text = "200\n";
  for (std::size_t i = 0; i < 400; i += 2) {
    const double e = 31.5 + 99.0 * at[i];
    const double n = 33.0 + 99.0 * at[i + 1];
    text += fmt::format("{} {} {}\n", e, n, plane(e, n));
  }
  EXPECT_EQ(Outcome(text, mesh).tops, tops_below(mesh_of(mesh), plane).tops.tops);
}

TEST(Surface, MeetsItsPointsAndBeyondThemIsAsHighAsTheNearestPoint) {
  // 40 points on a circle and 30 on a spiral inside.
  SurfacePoints points{
      .easting = {}, .northing = {}, .elevation = values_of_seed(70, 2), .appended = 0};
  std::vector<std::complex<double>> p;
  for (int i = 0; i < 70; ++i) {
    p.push_back(std::polar(i < 40 ? 10.0 : 0.2 * (80 - i), 0.05 * M_PI * i));
    points.easting.push_back(p.back().real());
    points.northing.push_back(p.back().imag());
  }
  const Numbers& z = points.elevation;
  const Surface surface(points);
  for (std::size_t i = 0; i < 70; ++i) EXPECT_EQ(surface.elevation(p[i].real(), p[i].imag()), z[i]);
  const Numbers at = values_of_seed(2000, 3);
  for (std::size_t i = 0; i < at.size(); i += 2) {
    const std::complex<double> q(40.0 * at[i], 40.0 * at[i + 1]);
    if (std::abs(q) <= 10.0) continue;
    std::pair<double, double> nearest{1e9, 0.0};  // distance and elevation
    for (std::size_t a = 0; a < 40; ++a) {
      nearest = std::min(nearest, {std::abs(p[a] - q), z[a]});
    }
    EXPECT_EQ(surface.elevation(q.real(), q.imag()), nearest.second) << q;
    EXPECT_FALSE(surface.covers(q.real(), q.imag()));
  }
}

// 2 km x 1 km of points, 50 m apart, whose northern edge bends inward by 3 m; a ridge of 300 m
// crosses the edge.
SurfacePoints bent_points(double bend) {
  SurfacePoints points;
  for (int j = 0; j <= 20; ++j) {
    for (int i = 0; i <= 40; ++i) {
      const double e = 50.0 * i;
      points.easting.push_back(e);
      points.northing.push_back(50.0 * j - bend * j / 20.0 * (1.0 - std::pow(e / 1000.0 - 1.0, 2)));
      points.elevation.push_back(std::abs(i - 20) <= 2 ? 300.0 : 0.0);
    }
  }
  return points;
}

TEST(Surface, ABorderThatBendsInwardKeepsTheRidgeThatCrossesIt) {
  const SurfacePoints points = bent_points(3.0);
  const Surface alone(points);
  SurfacePoints in_mesh = points;
  for (const double e : {-3000.0, 5000.0}) {
    for (const double n : {-3000.0, 4000.0}) {
      in_mesh.easting.push_back(e);
      in_mesh.northing.push_back(n);
      in_mesh.elevation.push_back(0.0);
      ++in_mesh.appended;
    }
  }
  const Surface with_corners(in_mesh);
  // In the bend, on its chord, and beyond it.
  for (const double n : {997.5, 999.0, 1000.0, 1000.5, 1300.0}) {
    EXPECT_EQ(alone.elevation(1000, n), 300.0) << n;
    EXPECT_NEAR(with_corners.elevation(1000, n), 300.0, 0.1 * (n - 990.0)) << n;
    EXPECT_NEAR(alone.elevation(1124.5, std::min(n, 1000.0)), 153.0, 1.0) << n;
  }
  EXPECT_TRUE(alone.covers(1000, 999));
  for (const Surface* surface : {&alone, &with_corners}) {
    EXPECT_TRUE(surface->covers(1000, 990));
    EXPECT_FALSE(surface->covers(1000, 1001) || surface->covers(2000.1, 500));
    EXPECT_EQ(surface->elevation(600, 999), 0.0);
  }
  // Points on a straight border are joined as everywhere else, also where rounding misses it.
  const Surface straight(bent_points(0.0));
  for (const double beyond : {0.0, 1e-9, -1e-9}) {
    EXPECT_NEAR(straight.elevation(1125, 1000 + beyond), 150.0, 1e-6);
    EXPECT_TRUE(straight.covers(1125, 1000 + beyond));
  }
}

TEST(Topography, PointsOnALineInDecimalsAreCollinear) {
  const auto line = [](double wiggle) {
    std::string text = "41\n";
    for (int i = 0; i <= 40; ++i)
      text += fmt::format("{:.1f} {:.6f} 5\n", 450000.1 + 0.1 * i,
                          7000000.7 + 0.3 * i + wiggle * (i % 2));
    return text;
  };
  const std::string mesh = "2 2 2\n450001 7000002 9\n2*1\n2*3\n2*5";
  EXPECT_EQ(Outcome(line(0.0), mesh).end,
            "\nError: Points in the topography file are collinear.\n\n");
  EXPECT_EQ(Outcome(line(1e-5), mesh).end, "");
  // Corners of the mesh make no surface of a line.
  EXPECT_EQ(Outcome("3\n30 30 1\n40 40 2\n60 60 3").end,
            "\nError: Points in the topography file are collinear.\n\n");
}

TEST(Topography, ElevationsThatDecimalsPutOnAFaceOfALayerLieOnIt) {
  const Mesh mesh = mesh_of("1 1 5\n0 0 130.3\n10\n10\n5*10");
  for (const auto& [level, air] : std::map<double, std::int32_t>{
           {130.3, 0}, {120.3, 1}, {110.3, 2}, {100.3, 3}, {90.3, 4}, {80.3, 5}, {90.2999, 5}}) {
    EXPECT_EQ(column_tops_of_terrain(mesh, level_terrain(level)).tops.tops, Counts{air}) << level;
  }
  EXPECT_EQ(column_tops_of_terrain(mesh, level_terrain(130.3 + 1e-12)).cut.columns, 0);
}

TEST(Topography, TerrainAboveTheMeshTopAndColumnsOutsideItAreCounted) {
  const Mesh mesh = mesh_of("4 2 2\n0 0 100\n4*10\n2*10\n2*50");
  const TerrainTops found = column_tops_of_terrain(
      mesh, {.name = {},
             .elevation = [](double e, double) { return 90.0 + e; },
             .covers = [](double e, double n) { return e < 30.0 && n < 10.0; }});
  // Highest in the four columns from west to east: 100, 110, 120, 130.
  EXPECT_EQ(found.cut.columns, 6);
  EXPECT_EQ(found.cut.max_height, 30.0);
  EXPECT_EQ(found.outside, 5);
  EXPECT_EQ(found.tops.tops, (Counts{1, 1, 0, 0, 0, 0, 0, 0}));
}

TEST(Topography, OddMeshesAndPlacesFarAwayDoNotHangOrCrash) {
  for (const char* w : {"0", "-40", "1e308", "-1e308"}) {
    const std::string mesh = fmt::format("3 3 3\n0 0 100\n60 {0} {0}\n{0} 60 {0}\n{0} 10 {0}", w);
    for (const char* text : {"3\n-9 -9 95\n99 -9 95\n0 99 80", "3\n10 10 9\n1e-300 0 9\n0 5e-324 9",
                             "3\n-1e308 -9 9\n1e308 0 9\n0 1e308 9"}) {
      const Outcome outcome(text, mesh);
      EXPECT_EQ(outcome.tops.size(), outcome.end.empty() ? 9U : 0U) << outcome.end;
      for (const std::int32_t top : outcome.tops) EXPECT_TRUE(top >= 0 && top <= 3) << top;
    }
  }
}

}  // namespace
}  // namespace quorivex::test
