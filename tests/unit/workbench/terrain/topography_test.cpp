// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <map>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "values.h"
#include "workbench/terrain/read_topography.h"
#include "workbench/terrain/surface_points.h"
#include "workbench/terrain/triangulation.h"

namespace quorivex::test {
namespace {

using Numbers = std::vector<double>;
using Counts = std::vector<std::int32_t>;

Mesh mesh_of(const std::string& text) { return read_mesh_file(ScratchFolder().write("m", text)); }

// 100 m x 100 m; a quarter of the first cell's smaller width is 2.5 m.
constexpr const char* kMesh = "2 2 4\n0 0 100\n10 90\n20 80\n4*25";
constexpr const char* kWarning = "Warning: Topography region is not large enough.\n";

/// What reading a file with this text gave, and wrote to the console and to the log.
struct Outcome {
  explicit Outcome(const std::string& text, const std::string& mesh_text = kMesh) {
    const ScratchFolder folder;
    const Mesh mesh = mesh_of(mesh_text);
    name = text == "no file" ? folder.path("f") : folder.write("f", text);
    Report report;
    report.open_log(folder.path("log").c_str());
    testing::internal::CaptureStdout();
    try {
      points = read_surface_points(name, mesh, report);
      tops = read_topography(name, mesh, report).tops;
    } catch (const StopRun& stop) {
      end = stop.console();
      EXPECT_EQ(stop.log(), end);
    }
    report.close();
    written = testing::internal::GetCapturedStdout();
    EXPECT_EQ(folder.read("log"), written);
  }

  std::string name, written, end;
  SurfacePoints points;
  Counts tops;
};

TEST(Topography, FilesThatCannotBeUsedStopWithTheirMessage) {
  const Outcome missing("no file");
  EXPECT_EQ(missing.end, "\n ERROR: topography file not found: " + missing.name + "\n");
  for (const char* text : {"", "!\n! c", "\n3\n0 0 0\n90 0 0\n0 90 0", "0\n", "-1\n1 1 1", "3.5\n",
                           "3\n0 0 0\n90 0 0\n0 90", "3\n0 0 0\n90 0 x\n0 90 0",
                           "3\n! c\n0 0 0\n90 0 0\n0 90 0", "2147483647\n0 0 0\n90 0 0"}) {
    const Outcome bad(text);
    EXPECT_EQ(bad.end, "\nERROR reading topography file " + bad.name +
                           "\n Expected the number of points, and then easting, northing and "
                           "elevation on a line each.\n\n")
        << text;
  }
  for (const char* text :
       {"2\n100 0 0\n150 50 0", "2\n-9 0 0\n0 50 0", "2\n0 100 0\n50 150 0", "2\n0 -9 0\n50 0 0"})
    EXPECT_EQ(Outcome(text).end, "\nError: Topography is outside the mesh.\n\n") << text;
  EXPECT_EQ(Outcome("! c\n!\n3 points\n-1 -1 5 first\n\n50,50\n6\n102 102 7").end,
            "\nError: Points in the topography file are collinear.\n\n");
}

TEST(Topography, PointsInOnePlaceAreListedAndCountedInPairs) {
  const Outcome few("7\n0 0 1\n101 0 2\n-0. 0 3\n0 101 4\n101 0 -5\n101 101 6\n0 0 7");
  EXPECT_EQ(few.written,
            "Duplicate points:\n"
            "         -0.0000          0.0000        3.0000\n"
            "          0.0000          0.0000        7.0000\n"
            "          0.0000          0.0000        7.0000\n"
            "        101.0000          0.0000       -5.0000\n");
  EXPECT_EQ(few.end, "\nError: 4 duplicate points found in topography file.\n\n");

  std::string text = "100000\n";
  for (int i = 0; i < 100000; ++i) text += "50 50 5\n";
  const Outcome many(text);
  EXPECT_EQ(std::count(many.written.begin(), many.written.end(), '\n'), 1003);  // a warning first
  EXPECT_TRUE(many.written.ends_with("\nand 4999949000 more\n"));
  EXPECT_EQ(many.end, "\nError: 4999950000 duplicate points found in topography file.\n\n");
}

TEST(Topography, FewPointsAreWarnedOfAndCornersTakeTheElevationNearestToThem) {
  const std::string west = "4\n-900 0 0\n-900 100 0\n";  // 30 % of the mesh, or a little less
  EXPECT_EQ(Outcome(west + "30 0 0\n30 100 0").written, "");
  EXPECT_EQ(Outcome(west + "29.99 0 0\n29.99 100 0").written, std::string(kWarning) + kWarning);
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
  EXPECT_EQ(two.elevation, (Numbers{1, 2, 3, 1, 1, 2, 3}));
}

TEST(Topography, AColumnIsAirDownToTheLayerThatHoldsItsLowestGround) {
  const Mesh mesh = mesh_of("2 3 3\n0 0 100\n8 4\n6 2 2\n10 20 30");
  const std::map<double, std::int32_t> levels{{1e30, 0}, {100, 0}, {99, 1}, {90, 1}, {89, 2},
                                              {70, 2},   {69, 3},  {40, 3}, {39, 3}, {-1e30, 3}};
  for (const auto& [level, air] : levels)
    EXPECT_EQ(column_tops(mesh, [z = level](double, double) { return z; }).tops, Counts(6, air));
  // A level surface from a file is level to the last bit.
  EXPECT_EQ(Outcome("3\n-9 -9 75\n93 -7 75\n-3 91 75").tops, Counts(4, 1));
  // A pit at one place of the refined grid is seen once, by the columns that touch it.
  const Numbers eastings{0, 4, 8, 10, 12};
  const Numbers northings{0, 3, 6, 7, 8, 9, 10};
  for (int at = 0; at < 35; ++at) {
    int seen = 0;
    const ColumnTops tops = column_tops(mesh, [&](double e, double n) {
      if (e != eastings[as_size(at % 5)] || n != northings[as_size(at / 5)]) return std::nan("");
      ++seen;
      return 75.0;
    });
    EXPECT_EQ(seen, 1);
    for (int i = 0; i < 6; ++i) {
      const bool apart =
          std::abs(at % 5 - i / 3 * 2 - 1) > 1 || std::abs(at / 5 - i % 3 * 2 - 1) > 1;
      EXPECT_EQ(tops.tops[as_size(i)], apart ? 0 : 2);
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
  EXPECT_EQ(Outcome(text, mesh).tops, column_tops(mesh_of(mesh), plane).tops);
}

TEST(Surface, MeetsItsPointsAndBeyondThemIsAsHighAsTheHullsNearestPoint) {
  // 40 points on a circle and 30 on a spiral inside.
  SurfacePoints points{.easting = {}, .northing = {}, .elevation = values_of_seed(70, 2)};
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
      const std::size_t b = (a + 1) % 40;
      const double w = std::clamp(((q - p[a]) / (p[b] - p[a])).real(), 0.0, 1.0);
      const double distance = std::abs(p[a] + w * (p[b] - p[a]) - q);
      nearest = std::min(nearest, {distance, z[a] + w * (z[b] - z[a])});
    }
    EXPECT_NEAR(surface.elevation(q.real(), q.imag()), nearest.second, 1e-9) << q;
  }
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
