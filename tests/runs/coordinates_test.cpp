// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include "run_program.h"
#include "run_qvx.h"

namespace quorivex::test {
namespace {

constexpr const char* kZone54South =
    R"(PROJCS["WGS_1984_UTM_Zone_54S",GEOGCS["GCS_WGS_1984",DATUM["D_WGS_1984",)"
    R"(SPHEROID["WGS_1984",6378137.0,298.257223563]],PRIMEM["Greenwich",0.0],)"
    R"(UNIT["Degree",0.0174532925199433]],PROJECTION["Transverse_Mercator"],)"
    R"(PARAMETER["False_Easting",500000.0],PARAMETER["False_Northing",10000000.0],)"
    R"(PARAMETER["Central_Meridian",141.0],PARAMETER["Scale_Factor",0.9996],)"
    R"(PARAMETER["Latitude_Of_Origin",0.0],UNIT["Meter",1.0]])";

/// A folder with a table of 49 stations above a level terrain grid of zone 54 south, and a mesh.
class ZoneFolder : public ScratchFolder {
 public:
  ZoneFolder() {
    write("dem.asc",
          "ncols 2\nnrows 2\nxllcenter 499000\nyllcenter 7599000\ncellsize 2000\n"
          "100 100\n100 100\n");
    write("dem.prj", kZone54South);
    std::string table = "X,Y,TMI\n";
    for (int i = 0; i < 49; ++i) {
      table += fmt::format("{},{},{}\n", 500010 + 20 * (i % 7), 7600010 + 20 * (i / 7),
                           i == 24 ? 80 : i % 5);
    }
    write("t.csv", table);
    write("mesh.txt", "7 7 4\n500000 7600000 100\n7*20\n7*20\n10 20 20 40\n");
  }
  QvxRun qvx(const std::string& arguments) const { return run_qvx(*this, arguments); }
  /// What a command of the shell prints.
  std::string shell(const std::string& command) const {
    const std::string all = "cd '" + path("") + "' && " + command + " > shell.txt 2>&1";
    EXPECT_EQ(std::system(all.c_str()), 0) << read("shell.txt");
    return read("shell.txt");
  }
};

constexpr const char* kHeights =
    "survey --table t.csv --easting X --northing Y --field TMI --height 30 --floor 2 "
    "--output s.mag ";
constexpr const char* kDem = "--topography dem.asc ";
constexpr const char* kFieldGiven = "--inclination -55 --declination 6 --strength 52000 ";
constexpr const char* kEpsg32754 = R"(ID["EPSG",32754])";

// A command that forgets the coordinate system, or writes it where no other program finds it.
TEST(CoordinateSystem, TravelsFromTheTerrainGridToEveryExport) {
  if (!kReadsGrids) GTEST_SKIP();
  const ZoneFolder folder;
  const QvxRun survey = folder.qvx(std::string(kHeights) + kDem + "--date 2001-02-03");
  ASSERT_EQ(survey.status, 0) << survey.err;
  EXPECT_NE(survey.out.find("longitude 141.00"), std::string::npos) << survey.out;
  EXPECT_NE(folder.read("s.mag").find("\n! coordinate system: EPSG:32754\n"), std::string::npos);
  ASSERT_EQ(
      folder.qvx("sensitivity --mesh mesh.txt --data s.mag --wavelet none --output s.mtx").status,
      0);
  EXPECT_NE(folder.read("s.mtx.info").find("coordinate_system    EPSG:32754\n"), std::string::npos);
  folder.write("run.inp",
               "1\n1 0\ns.mag\ns.mtx\nVALUE 0.001\nVALUE 0\nnull\nVALUE 0\nVALUE 1\nnull\n"
               "SMOOTH_MOD\nnull\n");
  run_program(folder, "run.inp 1");
  const QvxRun made = folder.qvx(
      "export run.inp --iteration 1 --netcdf m.nc --vtr m.vtr --csv m.csv --points p.vtp "
      "--data-csv d.csv");
  ASSERT_EQ(made.status, 0) << made.err;
  EXPECT_NE(folder.shell("gdalinfo NETCDF:m.nc:susceptibility").find(kEpsg32754),
            std::string::npos);
  for (const char* layer : {"d", "m"}) {
    const std::string said = folder.shell(fmt::format("ogrinfo -al -so {}.vrt", layer));
    EXPECT_NE(said.find(kEpsg32754), std::string::npos) << said;
    EXPECT_NE(said.find(*layer == 'd' ? "Feature Count: 49" : "Feature Count: 196"),
              std::string::npos);
  }
  for (const char* file : {"m.vtr", "p.vtp"}) {
    EXPECT_NE(folder.read(file).find(">69 80 83 71 58 51 50 55 53 52 0<"), std::string::npos);
  }
}

TEST(CoordinateSystem, TwoThatDifferAreRefusedWithTheNamesOfBoth) {
  if (!kReadsGrids) GTEST_SKIP();
  const ZoneFolder folder;
  const std::string table = std::string(kHeights) + kDem + kFieldGiven;
  expect_refused(folder, table + "--crs EPSG:28354",
                 "EPSG:28354 of --crs, EPSG:32754 of the terrain dem.asc");
  expect_refused(folder, table + "--utm 55S", "--utm 55S, but the coordinate system EPSG:32754");
  for (const auto& [crs, why] : {std::pair{"32754", "should be a code such as EPSG:32754"},
                                 {"EPSG:99999", "is not known"},
                                 {"EPSG:4326", "has no easting and northing"},
                                 {"EPSG:2277", "has a unit of 0.304801 m"}}) {
    expect_refused(folder, table + "--crs " + crs, why);
  }
  folder.write("points.xyz", "499000 7599000 100\n499000 7601000 100\n501000 7600000 100\n");
  const std::string points = std::string(kHeights) + kFieldGiven + "--topography points.xyz ";
  ASSERT_EQ(folder.qvx(points + "--crs epsg:28354").status, 0);
  const std::string other = "EPSG:28354 of s.mag, EPSG:32754 of the terrain dem.asc";
  expect_refused(folder, "mesh --data s.mag --output m.txt --topography dem.asc", other);
  for (const char* command : {"sensitivity ", "forward --model m.txt "}) {
    expect_refused(folder, command + std::string("--mesh mesh.txt --data s.mag --output o ") + kDem,
                   other);
  }
}

}  // namespace
}  // namespace quorivex::test
