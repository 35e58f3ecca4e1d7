// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <netcdf.h>
#include <pthread.h>

#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <vector>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "workbench/terrain/netcdf_grid.h"
#include "workbench/terrain/survey_ground.h"

#ifdef __SANITIZE_ADDRESS__
// What these libraries leave behind of damaged files is theirs.
extern "C" const char* __lsan_default_suppressions() { return "leak:libnetcdf\nleak:libhdf5\n"; }
#endif

namespace quorivex::test {
namespace {

std::string refusal_of(const std::string& file) {
  try {
    read_terrain(file);
  } catch (const StopRun& stop) {
    return std::string(stop.console());
  }
  return "not refused";
}

void expect_text(const std::string& whole, const std::string& part) {
  EXPECT_NE(whole.find(part), std::string::npos) << part << "\n" << whole;
}

/// The ground of these tests: 1 2 3 in the south at northing 200, 5 6 and no value 10 m north of
/// it, eastings from 100 in steps of 10.
void expect_ground(const Terrain& t) {
  const std::vector<std::array<double, 3>> places{{100, 200, 1}, {100, 210, 5}, {105, 205, 3.5},
                                                  {0, 0, 1},     {110, 300, 6}, {500, 200, 3}};
  for (const auto& [e, n, z] : places) EXPECT_EQ(t.elevation(e, n), z) << e << " " << n;
  EXPECT_TRUE(std::isnan(t.elevation(111, 201)));
  EXPECT_TRUE(t.covers(120, 210) && !t.covers(121, 210) && !t.covers(99, 205));
  EXPECT_EQ(t.description, "3 x 2 grid");
}

TEST(Terrains, AnAsciiGridIsReadFromTheNorthAndItsFaultsAreNamed) {
  const ScratchFolder folder;
  const std::string header = "NCOLS 3\nnrows 2\nxllcorner 95\nyllcenter 200\ncellsize 10\n";
  const auto grid = [&](const std::string& values) {
    return folder.write("g.asc", header + "NODATA_value -1\n" + values);
  };
  expect_ground(read_terrain(grid("5 6 -1\n1 2 3\n")));
  expect_text(refusal_of(grid("5 6 -1\n1 2 3\n4\n")), "more after its 6 elevations");
  expect_text(refusal_of(grid("5 6 -1\n1 2 3\nx")), "more after its 6 elevations");
  expect_text(refusal_of(grid("5 6 -1\n1 2\n")), "elevation 6 of 6 is missing");
  expect_text(refusal_of(grid("5 6 -1\n1 x 3\n")), "elevation 5 of 6 is missing or not a number");
  for (const char* absurd : {"-32768", "9001", "1e300"})
    expect_text(refusal_of(grid(fmt::format("5 6 -1\n1 {} 3\n", absurd))),
                "at 110 E 200 N (row 2 from\n the north, column 2 from the west)");
  const std::string huge =
      "ncols 1000000\nnrows 1000000\nxllcorner 0\nyllcorner 0\ncellsize 1\n999999999*5";
  for (const char* bad : {huge.c_str(), "ncols 3\nnrows 2\nxllcorner 0\ncellsize 10\n1 2 3 4 5 6\n",
                          "ncols 3\nnrows 2.5\n", "ncols\n", "ncols 3\nrows 3\n"})
    expect_text(refusal_of(folder.write("bad.asc", bad)), "ERROR reading terrain grid");
}

TEST(Terrains, MarksOfAnAsciiGridCountWhereItsHeaderNamesThem) {
  const ScratchFolder folder;
  const auto grid = [&](const std::string& mark, const std::string& last) {
    return folder.write("g.asc", "ncols 3\nnrows 2\nxllcorner 95\nyllcenter 200\ncellsize 10\n" +
                                     mark + "5 6 " + last + "\n1 2 3\n");
  };
  expect_ground(read_terrain(grid("", "-9999")));
  for (const char* nan : {"nan", "NaN", "-nan", "1*NAN"})
    expect_ground(read_terrain(grid("NODATA_value NaN\n", nan)));
  // A nan that comes first is no line of the header: these are seven nodes.
  expect_text(refusal_of(grid("NODATA_value nan\n\tnan,", "1")), "more after its 6 elevations");
  expect_text(refusal_of(grid("NODATA_value nan\n", "-9999.0")),
              "-9999 m at 120 E 210 N (row 1 from\n the north, column 3 from the west);\n that "
              "usually marks");
  // What cannot be read is not the mark, whatever the mark is.
  for (const char* mark : {"nan", "0"}) {
    const std::string line = fmt::format("NODATA_value {}\n", mark);
    for (const char* last : {"/", "x"})
      expect_text(refusal_of(grid(line, last)), "is missing or not a number");
  }
  expect_text(refusal_of(grid("", "nan")),
              "3 of 6 is nan. Where this marks places without a "
              "value, name it in the header: NODATA_value nan");
  expect_text(refusal_of(grid("NODATA_value -1\n", "nan")), "write NODATA_value, -1, in its place");
}

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

TEST(Terrains, AMeshIsGivenTheSameRefusalsAndHowTheTerrainFits) {
  const ScratchFolder folder;
  const Mesh mesh = read_mesh_file(folder.write("m", "4 4 2\n0 0 100\n4*10\n4*10\n2*10"));
  const auto refusal = [&](const std::string& text) {
    try {
      column_tops_of_terrain(
          mesh, read_terrain(folder.write("t", text), mesh, [](const std::string&) {}));
    } catch (const StopRun& stop) {
      return std::string(stop.console());
    }
    return std::string("not refused");
  };
  expect_text(refusal("3\n0 0 1\n10 0 2\n0 10 -9999\n"), "that usually marks places without");
  const auto grid = [](int west, const std::string& values) {
    return fmt::format("ncols 2\nnrows 2\nxllcenter {}\nyllcenter 0\ncellsize 20\n{}", west,
                       values);
  };
  expect_text(refusal(grid(40, "1 1 1 1")), "Error: Topography is outside the mesh.");
  // The northeastern quarter is a gap, and what lies beyond takes the gap of the edge.
  expect_text(refusal(grid(0, "1 -9999 1 1")), "no elevation at 64 of 81 places");
  expect_text(refusal(grid(0, "1 -9999 1 1")), "the first at 5 E 5 N");
  int warnings = 0;
  const Warn count = [&](const std::string&) { ++warnings; };
  const Terrain part = read_terrain(folder.write("t", grid(0, "85 85 85 85")), mesh, count);
  EXPECT_EQ(warnings, 1);  // 25 % of the mesh
  const TerrainTops found = column_tops_of_terrain(mesh, part);
  EXPECT_EQ(found.outside, 12);
  EXPECT_EQ(found.tops.tops, std::vector<std::int32_t>(16, 2));
  warn_of_misfit(part, found, mesh, count);
  EXPECT_EQ(warnings, 2);
}

/// How a netCDF file of the same ground is written.
struct Layout {
  int format = NC_NETCDF4;
  std::string x = "x", y = "y", units = "m";
  std::vector<double> eastings{100, 110, 120};
  std::vector<double> northings{200, 210};
  nc_type type = NC_FLOAT;
  std::vector<double> values{1, 2, 3, 5, 6, -99};  // as they are stored
  double mark = -99;
  const char* mark_name = "_FillValue";
  double factor = 1.0;
  double offset = 0.0;
  int extra = 0;  // 1: another grid; 2: the grid has three dimensions; 3: no coordinates
};

/// The parts that GMT and GDAL write, a variable of text (as for a projection) among them.
std::string write_netcdf(const std::string& name, const Layout& l) {
  int file = 0;
  EXPECT_EQ(nc_create(name.c_str(), l.format | NC_CLOBBER, &file), NC_NOERR);
  std::array<int, 3> d{};
  nc_def_dim(file, "t", 1, d.data());
  nc_def_dim(file, l.y.c_str(), l.northings.size(), &d[1]);
  nc_def_dim(file, l.x.c_str(), l.eastings.size(), &d[2]);
  int crs = 0;
  nc_def_var(file, "transverse_mercator", NC_CHAR, 0, nullptr, &crs);
  int x = 0;
  int y = 0;
  nc_def_var(file, (l.x + (l.extra == 3 ? "2" : "")).c_str(), NC_DOUBLE, 1, &d[2], &x);
  nc_def_var(file, l.y.c_str(), NC_DOUBLE, 1, &d[1], &y);
  for (const int v : {x, y}) nc_put_att_text(file, v, "units", l.units.size(), l.units.c_str());
  int z = 0;
  int other = 0;
  nc_def_var(file, "Band1", l.type, l.extra == 2 ? 3 : 2, &d[l.extra == 2 ? 0 : 1], &z);
  if (l.extra == 1) nc_def_var(file, "slope", l.type, 2, &d[1], &other);
  nc_put_att_double(file, z, l.mark_name, l.type, 1, &l.mark);
  nc_put_att_double(file, z, "scale_factor", NC_DOUBLE, 1, &l.factor);
  nc_put_att_double(file, z, "add_offset", NC_DOUBLE, 1, &l.offset);
  nc_enddef(file);
  nc_put_var_double(file, x, l.eastings.data());
  nc_put_var_double(file, y, l.northings.data());
  if (!l.values.empty()) nc_put_var_double(file, z, l.values.data());
  EXPECT_EQ(nc_close(file), NC_NOERR);
  return name;
}

// The library needs more stack than a first thread may have (ulimit -s).
TEST(Terrains, ANetcdfGridIsReadOnASmallStack) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "the sanitizer's own frames exceed the stack";
#endif
  const ScratchFolder folder;
  std::string name = write_netcdf(folder.path("dem.nc"), {});
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 64 * 1024), 0);
  pthread_t thread{};
  const auto read = [](void* file) -> void* {
    EXPECT_EQ(read_netcdf_grid(*static_cast<std::string*>(file)).columns, 3);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, read, &name), 0);
  pthread_join(thread, nullptr);
}

TEST(Terrains, EveryLayoutOfANetcdfGridGivesTheSameGround) {
  const ScratchFolder folder;
  std::vector<Layout> layouts(9);
  layouts[1].format = 0;
  layouts[2].format = NC_64BIT_OFFSET;
  layouts[3].format = NC_64BIT_DATA;
  layouts[4].northings = {210, 200};
  layouts[4].values = {5, 6, -99, 1, 2, 3};
  layouts[5].eastings = {120, 110, 100};
  layouts[5].values = {3, 2, 1, -99, 6, 5};
  layouts[6] = {.format = 0,
                .units = "",
                .type = NC_SHORT,
                .values = {-4, -2, 0, 4, 6, -32768},
                .mark = -32768,
                .mark_name = "missing_value",
                .factor = 0.5,
                .offset = 3};
  layouts[7].values.back() = layouts[7].mark = std::nan("");
  layouts[8] = {.x = "lon", .y = "lat", .units = "metres"};
  for (const Layout& layout : layouts) {
    SCOPED_TRACE(&layout - layouts.data());
    expect_ground(read_terrain(write_netcdf(folder.path("g.nc"), layout)));
  }
  // Without a projection GDAL calls metres degrees.
  Layout far{.x = "lon", .y = "lat", .units = "degrees_east"};
  far.eastings = {450000, 450010, 450020};
  far.northings = {7000200, 7000210};
  EXPECT_EQ(read_terrain(write_netcdf(folder.path("g.nc"), far)).elevation(450010, 7000210), 6.0);
}

TEST(Terrains, NetcdfFilesThatAreNoGridInMetresAreRefused) {
  const ScratchFolder folder;
  const auto refusal = [&](const Layout& layout) {
    return refusal_of(write_netcdf(folder.path("g.nc"), layout));
  };
  expect_text(refusal({.x = "lon",
                       .y = "lat",
                       .units = "degrees_north",
                       .eastings = {100, 110, 120},
                       .northings = {20, 30}}),
              "lon is in degrees; project the grid");
  expect_text(refusal({.units = "km"}), "the units of x are 'km', not m");
  expect_text(refusal({.x = "y", .y = "x"}), "northing should come first");
  expect_text(refusal({.eastings = {100, 110, 140}}), "value 2 of x, 110, is not at a regular");
  expect_text(refusal({.eastings = {100, std::nan(""), 120}}), "value 2 of x, nan");
  expect_text(refusal({.northings = {200, 200}}), "value 1 of y");
  expect_text(refusal({.northings = {200}}), "y has 1 nodes");
  expect_text(refusal({.extra = 1}), "several variables over two coordinates: Band1 slope");
  for (const int extra : {2, 3})
    expect_text(refusal({.extra = extra}), "no variable over two coordinates");
  expect_text(refusal({.type = NC_CHAR}), "no variable over two coordinates");
  for (const double ground : {-32767, -9999})
    expect_text(refusal({.values = {1, 2, 3, 5, 6, ground}}),
                fmt::format("elevation of {} m at 120 E 210 N", ground));
}

std::vector<double> steps(std::size_t count) {
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), 0.0);
  return values;
}

TEST(Terrains, DamagedNetcdfFilesAreRefusedWhereverTheyAreCutOrChanged) {
  const ScratchFolder folder;
  for (const int format : {0, NC_64BIT_DATA, NC_NETCDF4}) {
    write_netcdf(folder.path("g.nc"), {.format = format});
    const std::string whole = folder.read("g.nc");
    const std::size_t step = format == NC_NETCDF4 ? 97 : 1;
    for (std::size_t size = 4; size < whole.size(); size += step)
      EXPECT_NE(refusal_of(folder.write("c.nc", whole.substr(0, size))), "not refused") << size;
    for (std::size_t at = 4; at < whole.size(); at += step) {
      std::string changed = whole;
      for (const char byte : {'\x7f', '\xff', '\x10'}) {
        changed[at] = byte;
        refusal_of(folder.write("c.nc", changed));  // ends, one way or the other
      }
    }
  }
  // Nothing is stored of 900 million values.
  write_netcdf(folder.path("huge.nc"),
               {.eastings = steps(30000), .northings = steps(30000), .values = {}});
  expect_text(refusal_of(folder.path("huge.nc")), "bytes cannot hold");
}

}  // namespace
}  // namespace quorivex::test
