// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gdal.h>
#include <gtest/gtest.h>
#include <netcdf.h>
#include <ogr_srs_api.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <numeric>
#include <vector>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "terrain_refusal.h"
#include "workbench/terrain/gdal_grid.h"
#include "workbench/terrain/survey_ground.h"

#ifdef __SANITIZE_ADDRESS__
// What these libraries keep is theirs.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libnetcdf\nleak:libhdf5\nleak:libgdal\nleak:libproj\n";
}
#endif

namespace quorivex::test {
namespace {

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

TEST(TerrainGrids, AnAsciiGridIsReadFromTheNorthAndItsFaultsAreNamed) {
  const ScratchFolder folder;
  const auto grid = [&](const std::string& values, const std::string& mark = "NODATA_value -1\n") {
    return folder.write(
        "g.asc", "NCOLS 3\nnrows 2\nxllcorner 95\nyllcorner 195\ncellsize 10\n" + mark + values);
  };
  expect_ground(read_terrain(grid("5 6 -1\n1 2 3\n")));
  expect_ground(read_terrain(grid("5 6 -9999\n1 2 3\n", "")));
  expect_ground(read_terrain(grid("5 6 nan\n1 2 3\n", "NODATA_value nan\n")));
  expect_text(refusal_of(grid("5 6 -1\n1 2 3\n4\n")), "more after its 6 elevations");
  expect_text(refusal_of(grid("5 6 -1\n1 2\n")), "it ends after 5 of 6 elevations");
  expect_text(refusal_of(grid("5 6 -1\n1 x 3\n")), "elevation 5 of 6, 'x', is not a number");
  for (const char* absurd : {"-32768", "9001", "1e30"})
    expect_text(refusal_of(grid(fmt::format("5 6 -1\n1 {} 3\n", absurd))),
                "at 110 E 200 N (row 2 from\n the north, column 2 from the west)");
  expect_text(refusal_of(grid("5 6 -9999\n1 2 3\n")), "gdal_translate -a_nodata -9999");
  const std::string huge = "ncols 100000\nnrows 100000\nxllcorner 0\nyllcorner 0\ncellsize 1\n5";
  for (const char* bad :
       {huge.c_str(), "ncols 3\nnrows 2\nxllcorner 0\ncellsize 10\n1 2 3 4 5 6\n"})
    expect_text(refusal_of(folder.write("bad.asc", bad)), "ERROR reading terrain grid");
}

TEST(TerrainGrids, AMeshIsGivenTheSameRefusalsAndHowTheTerrainFits) {
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

/// How a raster of the same ground is written. Its transform is that of pixel corners.
struct Raster {
  const char* driver = "GTiff";
  std::array<double, 6> transform{95, 10, 0, 215, 0, -10};
  std::vector<double> values{5, 6, -99, 1, 2, 3};
  int columns = 3, rows = 2, bands = 1;
  GDALDataType type = GDT_Float32;
  double mark = -99, scale = 1, offset = 0;
  const char* unit = "";
  int crs = 32754;
  const char* crs_text = nullptr;  // in place of the code
  const char* name = "";           // of the first band
  const char* options = nullptr;
};

std::string write_raster(const std::string& name, const Raster& r) {
  GDALAllRegister();
  std::array<char*, 2> options{const_cast<char*>(r.options), nullptr};
  GDALDatasetH file = GDALCreate(GDALGetDriverByName(r.driver), name.c_str(), r.columns, r.rows,
                                 r.bands, r.type, options.data());
  auto transform = r.transform;
  GDALSetGeoTransform(file, transform.data());
  OGRSpatialReferenceH crs = OSRNewSpatialReference(nullptr);
  if (r.crs_text != nullptr) OSRSetFromUserInput(crs, r.crs_text);
  if (r.crs_text == nullptr && r.crs != 0) OSRImportFromEPSG(crs, r.crs);
  if (r.crs_text != nullptr || r.crs != 0) GDALSetSpatialRef(file, crs);
  OSRDestroySpatialReference(crs);
  for (int b = 1; b <= r.bands; ++b) {
    GDALRasterBandH band = GDALGetRasterBand(file, b);
    GDALSetRasterNoDataValue(band, r.mark);
    if (r.scale != 1) GDALSetRasterScale(band, r.scale);
    if (r.offset != 0) GDALSetRasterOffset(band, r.offset);
    if (b == 1) GDALSetDescription(band, r.name);
    if (*r.unit != '\0') GDALSetRasterUnitType(band, r.unit);
    auto values = r.values;
    EXPECT_EQ(GDALRasterIO(band, GF_Write, 0, 0, r.columns, r.rows, values.data(), r.columns,
                           r.rows, GDT_Float64, 0, 0),
              CE_None);
  }
  GDALClose(file);
  return name;
}

TEST(TerrainGrids, EveryRasterGivesTheSameGround) {
  const ScratchFolder folder;
  std::vector<Raster> rasters(8);
  rasters[1].driver = "ERS";
  rasters[2].transform = {95, 10, 0, 195, 0, 10};  // from the south
  rasters[2].values = {1, 2, 3, 5, 6, -99};
  rasters[3].transform = {125, -10, 0, 215, 0, -10};  // from the east
  rasters[3].values = {-99, 6, 5, 3, 2, 1};
  rasters[4] = {.values = {4, 6, -32768, -4, -2, 0},
                .type = GDT_Int16,
                .mark = -32768,
                .scale = 0.5,
                .offset = 3};
  rasters[5].values[2] = rasters[5].mark = std::nan("");
  rasters[6] = {.bands = 2, .name = "Elevation", .options = "TILED=YES"};
  rasters[7].values[2] = std::nan("");  // beside another mark
  for (const Raster& raster : rasters) {
    SCOPED_TRACE(&raster - rasters.data());
    const Terrain t = read_terrain(write_raster(folder.path("g.ers"), raster));
    expect_ground(t);
    // The names of ERS have no codes.
    EXPECT_EQ(t.crs, raster.driver == std::string("ERS") ? "" : "EPSG:32754");
  }
  // A file whose coordinates are of centres: the same ground for whoever knows.
  const std::string point = folder.path("point.tif");
  write_raster(point, {});
  GDALDatasetH file = GDALOpen(point.c_str(), GA_Update);
  GDALSetMetadataItem(file, "AREA_OR_POINT", "Point", nullptr);
  GDALClose(file);
  expect_ground(read_terrain(point));
}

TEST(TerrainGrids, FeetBecomeMetresAndOtherUnitsAreRefused) {
  const ScratchFolder folder;
  const double survey_foot = 1200.0 / 3937.0;
  const auto low = [&](const Raster& raster) {
    return read_terrain(write_raster(folder.path("g.tif"), raster)).elevation(110, 200);
  };
  EXPECT_EQ(low({.unit = "ft"}), 2 * 0.3048);
  EXPECT_EQ(low({.unit = "US survey foot"}), 2 * survey_foot);
  EXPECT_EQ(low({.crs_text = "EPSG:32754+6360"}), 2 * survey_foot);  // NAVD88 height (ftUS)
  EXPECT_EQ(low({.crs_text = "EPSG:32754+5773"}), 2);                // EGM96 height
  expect_text(refusal_of(write_raster(folder.path("g.tif"), {.unit = "cm"})),
              "the unit of band 1 is 'cm'; metres or feet are expected");
  // A mark that is not declared stays what it is.
  for (const double mark : {-9999.0, -32768.0})
    expect_text(refusal_of(write_raster(folder.path("g.tif"),
                                        {.values = {5, 6, mark, 1, 2, 3}, .unit = "ft"})),
                fmt::format("an elevation of {} m at 120 E 210 N", mark));
  const Mesh mesh = read_mesh_file(folder.write("m", "2 1 2\n100 200 100\n2*10\n1*10\n2*10"));
  std::string told;
  const Terrain t = read_terrain(write_raster(folder.path("g.tif"), {.unit = "ft"}), mesh,
                                 [&](const std::string& text) { told += text; });
  expect_text(told, "g.tif are in feet; they were converted to metres");
  EXPECT_EQ(t.description, "3 x 2 grid in feet");
}

TEST(TerrainGrids, RastersThatAreNotOverNorthingAndEastingInMetresAreRefused) {
  const ScratchFolder folder;
  const auto refusal = [&](const Raster& raster) {
    return refusal_of(write_raster(folder.path("g.tif"), raster));
  };
  const std::array<double, 6> degrees{-70.01, 0.01, 0, 45.01, 0, -0.01};
  for (const int crs : {4326, 0})
    expect_text(refusal({.transform = degrees, .crs = crs}),
                "gdalwarp -t_srs EPSG:32619 -r bilinear " + folder.path("g.tif"));
  expect_text(refusal({.crs = 2263}), "in units of 'US survey foot', not metres");
  for (const std::size_t term : {std::size_t{2}, std::size_t{4}}) {
    Raster turned;
    turned.transform[term] = 3.0;
    expect_text(refusal(turned), "gdalwarp -r bilinear " + folder.path("g.tif") + " turned.tif");
  }
  expect_text(refusal({.bands = 2}), "it has 2 bands: 1 (-) 2 (-). Write that of the elevations");
  EXPECT_EQ(refusal({.bands = 2, .options = "ALPHA=YES"}), "not refused");
  expect_text(refusal_of(folder.write("list.vrt", "<VRTDataset rasterXSize=\"3\"/>")),
              "lists of other files (VRT)");
  expect_text(refusal_of("/vsizip/g.zip/g.tif"), "topography file not found");
}

// Elevations of +-50 m about a slope from node to node: any single one tells nothing of a cell.
TEST(TerrainGrids, FineGridsAreAveragedOverTheCellsAndCoarseOnesAreNot) {
  const ScratchFolder folder;
  const auto grid = [&](int count, double step) {
    Raster r{.transform = {-0.5 * step, step, 0, (count - 0.5) * step, 0, -step},
             .values = {},
             .columns = count,
             .rows = count,
             .type = GDT_Float64};
    for (int row = 0; row < count; ++row) {
      for (int i = 0; i < count; ++i)
        r.values.push_back(500 + i * step + ((row + i) % 2 == 0 ? 50 : -50));
    }
    return read_terrain(write_raster(folder.path("g.tif"), r));
  };
  const Terrain fine = grid(41, 1.0);
  EXPECT_EQ(fine.elevation(20, 20), 570);
  EXPECT_NEAR(mean_elevation(fine, 20, 20, 4, 6), 520, 1e-9);
  EXPECT_NEAR(mean_elevation(fine, 20.5, 20.25, 8, 8), 520.5, 1e-9);
  // Along northing the surface at the place: there the signs change from 1 to -1, a mean of 0.
  EXPECT_NEAR(mean_elevation(fine, 20, 20.1, 4, 1.9), 520, 1e-9);
  EXPECT_EQ(mean_elevation(fine, 20, 20, 1.9, 1.9), 570);
  // Half of the length lies beyond the edge, where 500 m and the signs of its column go on.
  EXPECT_NEAR(mean_elevation(fine, 0, 20, 8, 8), 0.5 * 500 + 0.5 * 502, 1e-9);
  const Mesh mesh = read_mesh_file(folder.write("m", "5 5 100\n0 0 600\n5*8\n5*8\n100*2"));
  // The lowest of the nine means, at the western edge of the column in the middle.
  EXPECT_EQ(column_tops_of_terrain(mesh, fine).tops.tops[12], (600 - 516) / 2);
  const Terrain coarse = grid(6, 8.0);
  const Terrain same{.name = {}, .elevation = coarse.elevation};
  EXPECT_EQ(column_tops_of_terrain(mesh, coarse).tops.tops,
            column_tops_of_terrain(mesh, same).tops.tops);
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
TEST(TerrainGrids, AGridIsReadOnASmallStack) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "the sanitizer's own frames exceed the stack";
#endif
  const ScratchFolder folder;
  std::string name = write_netcdf(folder.path("dem.nc"), {});
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  const auto least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::max(least, std::size_t{64} << 10)), 0);
  pthread_t thread{};
  const auto read = [](void* file) -> void* {
    EXPECT_EQ(read_gdal_grid(*static_cast<std::string*>(file)).value().columns, 3);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, read, &name), 0);
  pthread_join(thread, nullptr);
}

TEST(TerrainGrids, EveryLayoutOfANetcdfGridGivesTheSameGround) {
  const ScratchFolder folder;
  std::vector<Layout> layouts(8);
  layouts[1].format = 0;
  layouts[2].format = NC_64BIT_OFFSET;
  layouts[3].northings = {210, 200};
  layouts[3].values = {5, 6, -99, 1, 2, 3};
  layouts[4].eastings = {120, 110, 100};
  layouts[4].values = {3, 2, 1, -99, 6, 5};
  layouts[5] = {.format = 0,
                .units = "",
                .type = NC_SHORT,
                .values = {-4, -2, 0, 4, 6, -32768},
                .mark = -32768,
                .mark_name = "missing_value",
                .factor = 0.5,
                .offset = 3};
  layouts[6].values.back() = layouts[6].mark = std::nan("");
  layouts[7] = {.x = "lon", .y = "lat", .units = "metres"};
  for (const Layout& layout : layouts) {
    SCOPED_TRACE(&layout - layouts.data());
    expect_ground(read_terrain(write_netcdf(folder.path("g.nc"), layout)));
  }
}

TEST(TerrainGrids, NetcdfFilesThatAreNoGridInMetresAreRefused) {
  const ScratchFolder folder;
  const auto refusal = [&](const Layout& layout) {
    return refusal_of(write_netcdf(folder.path("g.nc"), layout));
  };
  expect_text(refusal({.x = "lon",
                       .y = "lat",
                       .units = "degrees_north",
                       .eastings = {140, 141, 142},
                       .northings = {-23, -22}}),
              "it is in degrees. Project it to the coordinates of the survey first:\n    gdalwarp "
              "-t_srs EPSG:32754 -r");
  expect_text(refusal({.units = "km"}), "the unit of y is 'km', not m");
  expect_text(refusal({.x = "y", .y = "x"}), "northing should come first");
  for (const double wrong : {140.0, std::nan("")})
    expect_text(refusal({.eastings = {100, 110, wrong}}), "not at regular steps");
  expect_text(refusal({.northings = {200}}), "it has 3 x 1 nodes");
  expect_text(refusal({.extra = 1}), "g.nc\":slope\n Write the elevations");
  for (const double ground : {-32767, -9999})
    expect_text(refusal({.values = {1, 2, 3, 5, 6, ground}}),
                fmt::format("elevation of {} m at 120 E 210 N", ground));
}

std::vector<double> steps(std::size_t count) {
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), 0.0);
  return values;
}

TEST(TerrainGrids, DamagedGridsAreRefusedWhereverTheyAreCutOrChanged) {
  const ScratchFolder folder;
  write_raster(folder.path("g.tif"), {});
  write_netcdf(folder.path("classic.nc"), {.format = 0});
  write_netcdf(folder.path("hdf5.nc"), {});
  for (const char* name : {"g.tif", "classic.nc", "hdf5.nc"}) {
    const std::string whole = folder.read(name);
    const std::string cut = std::string("cut_") + name;
    const std::size_t step = whole.size() / 7;
    for (std::size_t size = 4; size < whole.size(); size += step)
      EXPECT_NE(refusal_of(folder.write(cut, whole.substr(0, size))), "not refused") << cut << size;
    for (std::size_t at = 4; at < whole.size(); at += step) {
      std::string changed = whole;
      changed[at] = '\x7f';
      refusal_of(folder.write(cut, changed));  // ends, one way or the other
    }
  }
  // Nothing is stored of 900 million values.
  write_netcdf(folder.path("huge.nc"),
               {.eastings = steps(30000), .northings = steps(30000), .values = {}});
  expect_text(refusal_of(folder.path("huge.nc")), "bytes cannot hold");
}

}  // namespace
}  // namespace quorivex::test
