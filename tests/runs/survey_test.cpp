// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include "inversion/mesh_io/observations.h"
#include "run_qvx.h"

namespace quorivex::test {
namespace {

constexpr const char* kColumns = "survey --table t.csv --easting X --northing Y --field T ";
constexpr const char* kGiven = "--inclination 60 --declination 12.5 --strength 50000 ";
constexpr const char* kOutput = "--floor 2 --percent 10 --output o.mag ";

std::string table() {
  std::string text = "flight,T,Z,Y,X\n";
  for (int line = 0; line < 3; ++line) {
    for (int i = 0; i < 10; ++i) {
      const bool lost = line == 1 && i == 4;
      text += fmt::format("L{},{},{},{},{}\n", line, lost ? "*" : fmt::format("{}", 100 + 10 * i),
                          300 + i, 7000000 + 200 * line, 450000 + 10 * i);
    }
  }
  return text;
}

// Thinning before the trend, the trend before the deviations, north and east in their places.
TEST(QvxSurvey, TheOutputHoldsWhatTheReportCounts) {
  const ScratchFolder folder;
  folder.write("t.csv", table());
  const QvxRun run = run_qvx(folder, std::string(kColumns) + kGiven + kOutput +
                                         "--elevation Z --line flight --spacing 30 --missing '*' "
                                         "--remove plane --centre 450000,7000000 "
                                         "--given 90,1000,5 --convergence 1.5");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  for (const char* text : {"30 rows read, 1 left out as marked missing (field 1)",
                           "easting X, northing Y, field T (line 1 taken as heading)",
                           "thinned away: 17 (nearest to every 30 m along 3 lines); used: 12",
                           "removed: plane 90 nT at 450000 E 7000000 N, 1000 nT/km eastward",
                           "nT/km eastward and 5 nT/km northward (as given)",
                           "standard deviation: 2 nT + 10 % of |datum|, 2.8 to 3 nT",
                           "declination from grid north is 11.00", "Written to o.mag: 12 data"}) {
    EXPECT_NE(run.out.find(text), std::string::npos) << text << "\n" << run.out;
  }
  const std::string file = folder.read("o.mag");
  EXPECT_NE(file.find("\n! removed: plane 90 nT"), std::string::npos) << file;
  const Observations o = read_data_file(folder.path("o.mag"), DataColumns::values);
  EXPECT_EQ(o.ndata, 12);
  EXPECT_EQ(o.idir, 1);
  for (const auto& [value, expected] : {std::pair{o.incl, 60.0},
                                        {o.decl, 11.0},
                                        {o.aincl, 60.0},
                                        {o.adecl, 11.0},
                                        {o.geomag, 50000.0}})
    EXPECT_EQ(value, expected);
  for (std::size_t i = 0; i < 12; ++i) {
    const std::size_t number = i / 4;
    const auto line = static_cast<double>(number);
    const double step = 3.0 * static_cast<double>(i % 4);
    EXPECT_EQ(o.x[i], 450000.0 + 10.0 * step);
    EXPECT_EQ(o.y[i], 7000000.0 + 200.0 * line);
    EXPECT_EQ(o.z[i], 300.0 + step);
    const double datum = 100.0 + 10.0 * step - 90.0 - 10.0 * step - line;
    EXPECT_NEAR(o.obs[i] * o.std[i], datum, 1e-5);
    EXPECT_NEAR(o.std[i], 2.0 + 0.1 * datum, 1e-5);
  }
}

TEST(QvxSurvey, HeightsAboveATerrainAndTheFieldOfADate) {
  if (!kReadsGrids) GTEST_SKIP();
  const ScratchFolder folder;
  folder.write("t.csv", table());
  folder.write("hill.txt",
               "4\n440000 6990000 50\n440000 7010000 50\n460000 6990000 250\n"
               "460000 7010000 250\n");
  folder.write("hill.asc",
               "ncols 2\nnrows 2\nxllcenter 440000\nyllcenter 6990000\n"
               "cellsize 20000\n50 250\n50 250\n");
  const auto elevations = [&](const std::string& options) {
    const QvxRun run =
        run_qvx(folder, std::string(kColumns) + kOutput + "--missing '*' " + options);
    EXPECT_EQ(run.status, 0) << run.err;
    return read_data_file(folder.path("o.mag"), DataColumns::values);
  };
  for (const std::string terrain : {"--topography hill.txt ", "--topography hill.asc "}) {
    EXPECT_NEAR(elevations(terrain + kGiven + "--height 80").z[9], 150.0 + 0.9 + 80.0, 1e-6);
    EXPECT_NEAR(elevations(terrain + kGiven + "--height Z").z[9], 150.9 + 309.0, 1e-6);
    EXPECT_NEAR(elevations(terrain + kGiven + "--height '#3'").z[9], 150.9 + 309.0, 1e-6);
  }
  elevations(std::string("--topography hill.asc --height -0.5 ") + kGiven);
  EXPECT_NE(folder.read("err.txt").find("Warning: --height -0.5 puts all stations below"),
            std::string::npos);
  // A field that is given counts, with the convergence of the zone, and is compared with the place.
  const Observations given =
      elevations(std::string("--elevation Z --date 2000 --utm 33N --inclination -75 ") +
                 "--declination 3 --strength 51500");
  EXPECT_EQ(given.incl, -75.0);
  EXPECT_EQ(given.geomag, 51500.0);
  EXPECT_NEAR(given.decl, 3.0 + 0.89, 0.05);
  const std::string warned = folder.read("err.txt");
  EXPECT_NE(warned.find("Warning: the inclination given, -75.00, has the opposite sign of 7"),
            std::string::npos)
      << warned;
  EXPECT_NE(folder.read("o.mag").find("! for comparison: inclination 7"), std::string::npos);
  // The same position given in two ways; the convergence turns the grid's north.
  const Observations utm = elevations("--elevation Z --date 2024-05-01 --utm 33N");
  EXPECT_NE(folder.read("o.mag").find(" m, 2024-05-01\n"), std::string::npos);
  const Observations at = elevations(
      "--elevation Z --date 2024.33 --at 13.9,63.1 --height-above-sea 300 --convergence -1");
  EXPECT_NEAR(utm.incl, at.incl, 0.1);
  EXPECT_NEAR(utm.geomag, at.geomag, 20.0);
  EXPECT_NEAR(utm.decl, at.decl, 0.1);
}

// Deviations of a column with least values, names after the values, and stations flown twice.
TEST(QvxSurvey, DeviationsNamesAndDuplicatesOfATable) {
  const ScratchFolder folder;
  folder.write("t.csv",
               "L,fid,X,Y,Z,T,S\nA,1,450000,7000000,300,100,5\nA,2,450050,7000000,300,-200,0.5\n"
               "B,9,450000,7000000,300,110,7\n");
  const std::string all = std::string(kColumns) + kGiven +
                          "--elevation Z --line L --fiducial fid --deviation S --output o.mag ";
  QvxRun run = run_qvx(folder, all + "--floor 1 --percent 0.2");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("column S, at least 1 nT + 0.2 % of |datum|, 1.4 to 7 nT"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.err.find("1 of 3 stations stand at the place of an earlier one"),
            std::string::npos);
  EXPECT_NE(run.err.find("--percent 0.2 is 0.2 % of the datum"), std::string::npos);
  EXPECT_EQ(read_data_file(folder.path("o.mag"), DataColumns::values).std,
            (std::vector<double>{5.0, 1.4, 7.0}));
  std::string file = folder.read("o.mag");
  EXPECT_NE(file.find("\n! labels of the data: line, fiducial\n"), std::string::npos);
  EXPECT_TRUE(file.ends_with("  ! B, 9\n")) << file;

  run = run_qvx(folder, all + "--average-duplicates");
  EXPECT_EQ(run.err, "");
  EXPECT_NE(run.out.find("averaged with an earlier station at the same place: 1\n"),
            std::string::npos)
      << run.out;
  const Observations o = read_data_file(folder.path("o.mag"), DataColumns::values);
  EXPECT_EQ(o.std, (std::vector<double>{6.0, 0.5}));
  EXPECT_DOUBLE_EQ(o.obs[0] * 6.0, 105.0);
  expect_refused(folder, std::string(kColumns) + kGiven + "--elevation Z --output p.mag",
                 "--floor and, if wanted, --percent, or --deviation");
  folder.write("t.csv", "X,Y,Z,T,S\n1,1,1,1,0\n");
  expect_refused(folder,
                 std::string(kColumns) + kGiven + "--elevation Z --deviation S --output p.mag",
                 "line 2: standard deviation (column 5) should be a number from 1e-06");
  expect_refused(folder,
                 std::string(kColumns) + "--inclination 60 --declination 0 --strength 50.1 " +
                     kOutput + "--elevation Z",
                 "--strength: should be nT; 50.1 is perhaps 50100 nT");
}

TEST(QvxSurvey, RefusalsSayWhatToDoAndWriteNothing) {
  if (!kReadsGrids) GTEST_SKIP();
  const ScratchFolder folder;
  folder.write("t.csv", table());
  folder.write("gap.asc",
               "ncols 2\nnrows 2\nxllcenter 0\nyllcenter 0\ncellsize 9000000\n"
               "NODATA_value 0\n1 1\n1 0\n");
  const std::string start = std::string(kColumns) + kOutput;
  const std::string good = start + "--missing '*' --elevation Z ";
  expect_refused(folder, start + kGiven + "--elevation Z",
                 "line 16: field (column 2) should be a number from -200000 to 200000, not '*'\n"
                 "    L1,*,304,7000200,450040\n");
  expect_refused(folder, good + kGiven + "--height 3", "give either --elevation, or --height");
  expect_refused(folder, start + kGiven + "--height 3", "need each other");
  expect_refused(folder, start + kGiven + "--missing '*' --height 1e6 --topography gap.asc",
                 "--height should be from -100000 to 100000 m, or name a column");
  expect_refused(folder, start + kGiven + "--missing '*' --height 3 --topography gap.asc",
                 "has no elevation at 450000 E 7000000 N, the station of line 2 of t.csv");
  for (const char* some : {"--inclination 60", "--inclination 60 --date 1990 --utm 33N"})
    expect_refused(folder, good + some, "the field is --inclination, --declination and --strength");
  expect_refused(folder, good + "--date 1990", "needs a place");
  expect_refused(folder, good + "--date 1990 --utm 33N --at 1,2", "needs one place");
  expect_refused(folder, good + "--date 2031-05-01 --utm 33N",
                 "1900 to 2030 (its start), not of 2031-05-01.");
  expect_refused(folder, good + kGiven + "--centre 1,2", "need --remove");
  expect_refused(folder, good + kGiven + "--remove plane --given 5", "--given should hold level");
  expect_refused(folder, good + kGiven + "--remove ramp",
                 "--remove: should be constant or plane, not ramp");
  expect_refused(folder, good + kGiven + "--separator ab", "--separator should be");
  expect_refused(folder, good + kGiven + "--grid 5 --spacing 5", "--spacing");
  expect_refused(folder, good + kGiven + "--line Line", "should name a column 'Line', once");
  expect_refused(
      folder,
      std::string(kColumns) + kGiven + "--missing '*' --elevation Z --floor 1 --output ./t.csv",
      "would replace a file that is read");
  EXPECT_FALSE(folder.has("o.mag") || folder.has_leftovers());
}

// Of all readings, however they are thinned; the floor only where there is none.
TEST(QvxSurvey, EstimatedErrorsAreTheFloorAndStandInTheFile) {
  const ScratchFolder folder;
  std::string text = "flight,T,Z,Y,X\n";
  for (int i = 0; i < 90; ++i) {  // 3 nT and -3 nT in turns: differences of 16 x 3 / sqrt(70)
    text += fmt::format("L{},{},90,{},{}\n", i / 30, i % 2 == 0 ? 103 : 97,
                        7000000 + 200 * (i / 30), 450000 + 10 * (i % 30));
  }
  folder.write("t.csv", text);
  const std::string start = std::string(kColumns) + kGiven + "--elevation Z --estimate-errors ";
  const std::string on_lines = start + "--output o.mag --line flight ";
  const QvxRun run = run_qvx(folder, on_lines + "--spacing 50 --percent 10");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("the floor covers the errors of the readings alone"), std::string::npos);
  const std::string file = folder.read("o.mag");
  for (const char* line : {"!   8.51 nT (78 differences on 3 lines)\n", "!   none (0 crossings)\n",
                           "! proposed: --floor 8.6, the larger one, rounded up; used\n",
                           "! standard deviation: 8.6 nT + 10 % of |datum|, 18.3 to 18.9 nT\n"}) {
    EXPECT_NE(file.find(line), std::string::npos) << line << "\n" << file;
  }
  const QvxRun low = run_qvx(folder, on_lines + "--floor 1");
  EXPECT_NE(low.err.find("1 nT, is less than the estimated error"), std::string::npos) << low.err;
  EXPECT_NE(low.out.find("standard deviation: 1 nT"), std::string::npos);
  expect_refused(folder, start + "--output n.mag", "the table names no lines; --line names");
  folder.write("t.csv", text.substr(0, text.find("L0,97,90,7000000,450030")));
  expect_refused(folder, start + "--output n.mag --line flight", "too few differences");
  EXPECT_FALSE(folder.has("n.mag"));
}

TEST(QvxSurvey, GridAndFitsAreStatedAndAWholeFieldIsNoticed) {
  const ScratchFolder folder;
  std::string text = "X Y Z T\n";
  for (int i = 0; i < 400; ++i)
    text += fmt::format("{} {} 100 {}\n", 450000 + 5 * (i % 20), 7000000 + 5 * (i / 20), 50000 + i);
  folder.write("t.csv", text);
  const std::string start = std::string(kColumns) + kOutput + kGiven + "--elevation Z --grid 50 ";
  const QvxRun whole = run_qvx(folder, start + "--grid-keeps median");
  EXPECT_NE(whole.out.find("thinned away: 396 (station with the median of each 50 m cell)"),
            std::string::npos);
  EXPECT_NE(whole.err.find("look like the whole field"), std::string::npos);
  const QvxRun fitted = run_qvx(folder, start + "--remove constant --fit robust --missing none");
  EXPECT_EQ(fitted.status, 0) << fitted.err;
  EXPECT_EQ(fitted.err, "");
  EXPECT_NE(folder.read("o.mag").find("! removed: constant 50"), std::string::npos);
}

}  // namespace
}  // namespace quorivex::test
