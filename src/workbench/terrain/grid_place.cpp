// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "base/text.h"
#include "workbench/terrain/grid_source.h"
#include "workbench/terrain/terrain_grid.h"

namespace quorivex {
namespace {

constexpr double kMaxDegrees = 360.0;  // what is larger is no angle, whatever is said of it
constexpr double kNarrow = 10.0;       // no terrain of a survey in metres is that small,
constexpr double kFine = 0.1;          // and no grid in metres that fine
constexpr double kTurned = 0.01;       // of a pixel: what rows may lean over their length

std::string text_of(const char* text) { return text == nullptr ? "" : text; }

/// What to type for coordinates in metres.
std::string to_project(const std::string& name, const std::string& code) {
  return fmt::format("\n    gdalwarp -t_srs EPSG:{} -r bilinear {} projected.tif\n", code, name);
}

[[noreturn]] void refuse_degrees(const GridSource& source, const GridPlace& place) {
  const double longitude = place.west + 0.5 * place.width * static_cast<double>(place.columns - 1);
  const double latitude = place.south + 0.5 * place.height * static_cast<double>(place.rows - 1);
  const double turned = std::fmod(longitude + 540.0, 360.0);  // 0 at 180 W
  const int zone = std::clamp(static_cast<int>(turned / 6.0) + 1, 1, 60);
  const int code = (latitude < 0.0 ? 32700 : 32600) + zone;
  bad_grid(source.name,
           fmt::format("it is in degrees. Project it to the coordinates of the survey first:{} "
                       "with the code of these coordinates (EPSG:{} is UTM zone {}{} on WGS 84)",
                       to_project(source.name, fmt::format("{}", code)), code, zone,
                       latitude < 0.0 ? "S" : "N"));
}

bool may_be_degrees(const GridPlace& place) {
  const double east = place.west + place.width * static_cast<double>(place.columns - 1);
  const double north = place.south + place.height * static_cast<double>(place.rows - 1);
  return place.west >= -kMaxDegrees && east <= kMaxDegrees && place.south >= -90.5 && north <= 90.5;
}

/// Where the file does not say.
bool look_like_degrees(const GridPlace& place) {
  return may_be_degrees(place) &&
         ((place.width * static_cast<double>(place.columns - 1) < kNarrow &&
           place.height * static_cast<double>(place.rows - 1) < kNarrow) ||
          place.width < kFine);
}

void expect_metres(const GridSource& source, const GridPlace& place) {
  const Gdal& gdal = source.gdal;
  OGRSpatialReferenceH crs = gdal.GDALGetSpatialRef(source.dataset);
  if (crs == nullptr) {
    if (look_like_degrees(place)) refuse_degrees(source, place);
    return;
  }
  if (gdal.OSRIsGeographic(crs) != 0) {
    // Grids that nobody gave a coordinate system are called geographic when they become netCDF.
    if (may_be_degrees(place)) refuse_degrees(source, place);
    if (source.driver() == "netCDF") return;
    bad_grid(source.name,
             fmt::format("its coordinate system ({}) is one of degrees, and its coordinates cannot "
                         "be degrees. Say what they are:\n    gdal_translate -a_srs EPSG:CODE {} "
                         "corrected.tif\n with the code of the coordinates of the survey for CODE",
                         text_of(gdal.OSRGetName(crs)), source.name));
  }
  char* unit = nullptr;
  const double metres = gdal.OSRGetLinearUnits(crs, &unit);
  if (gdal.OSRIsGeocentric(crs) == 0 && std::abs(metres - 1.0) < 1e-9) return;
  bad_grid(
      source.name,
      fmt::format("its coordinates ({}) are in units of '{}', not metres. Project it first:{} "
                  "with the code of the coordinates of the survey for CODE",
                  text_of(gdal.OSRGetName(crs)), text_of(unit), to_project(source.name, "CODE")));
}

/// The axes of a netCDF variable, which GDAL takes in their order whatever they are.
void check_netcdf_axes(const GridSource& source, const GridPlace& place) {
  const Gdal& gdal = source.gdal;
  GDALRasterBandH band = gdal.GDALGetRasterBand(source.dataset, 1);
  const char* const variable = gdal.GDALGetMetadataItem(band, "NETCDF_VARNAME", nullptr);
  GDALDatasetH axes = gdal.GDALOpenEx(gdal.GDALGetDescription(source.dataset),
                                      GDAL_OF_MULTIDIM_RASTER, nullptr, nullptr, nullptr);
  if (variable == nullptr || axes == nullptr) return;
  GDALMDArrayH array =
      gdal.GDALGroupOpenMDArray(gdal.GDALDatasetGetRootGroup(axes), variable, nullptr);
  if (array == nullptr) return;
  std::size_t count = 0;
  GDALDimensionH* dimensions = gdal.GDALMDArrayGetDimensions(array, &count);
  for (std::size_t d = count < 2 ? count : count - 2; d < count; ++d) {
    const bool is_column = d + 1 == count;
    const std::string name = text_of(gdal.GDALDimensionGetName(dimensions[d]));
    const std::string type = text_of(gdal.GDALDimensionGetType(dimensions[d]));
    const std::string word = lower_case(name);
    const bool wrong = is_column ? type == "HORIZONTAL_Y" || word == "y" || word == "northing"
                                 : type == "HORIZONTAL_X" || word == "x" || word == "easting";
    if (wrong) {
      bad_grid(source.name, fmt::format("{} of {} is its {} dimension; northing should come first",
                                        name, variable, is_column ? "last" : "first"));
    }
    GDALMDArrayH coordinate = gdal.GDALDimensionGetIndexingVariable(dimensions[d]);
    const std::string unit =
        coordinate == nullptr ? "" : lower_case(text_of(gdal.GDALMDArrayGetUnit(coordinate)));
    if (unit.starts_with("degree")) {
      if (may_be_degrees(place)) refuse_degrees(source, place);
    } else if (!unit.empty() && unit != "m" && !unit.starts_with("metre") &&
               !unit.starts_with("meter")) {
      bad_grid(source.name, fmt::format("the unit of {} is '{}', not m", name, unit));
    }
  }
}

}  // namespace

GridPlace place_of(const GridSource& source) {
  const Gdal& gdal = source.gdal;
  GridPlace place{.columns = gdal.GDALGetRasterXSize(source.dataset),
                  .rows = gdal.GDALGetRasterYSize(source.dataset)};
  if (std::min(place.columns, place.rows) < 2 || std::max(place.columns, place.rows) > kMaxNodes) {
    bad_grid(source.name, fmt::format("it has {} x {} nodes; from 2 to a million are expected",
                                      place.columns, place.rows));
  }
  std::array<double, 6> t{};  // easting and northing of a corner, then of the steps to the next
  if (gdal.GDALGetGeoTransform(source.dataset, t.data()) != CE_None) {
    bad_grid(source.name,
             "it does not say where it lies, or not at regular steps" + as_gdal_says(gdal));
  }
  const auto columns = static_cast<double>(place.columns);
  const auto rows = static_cast<double>(place.rows);
  place.width = std::abs(t[1]);
  place.height = std::abs(t[5]);
  if (!(std::abs(t[4]) * columns <= kTurned * place.height &&
        std::abs(t[2]) * rows <= kTurned * place.width)) {
    bad_grid(source.name, fmt::format("its rows do not go east, or its columns not north. Turn it "
                                      "first:\n    gdalwarp -r bilinear {} turned.tif\n",
                                      source.name));
  }
  place.from_east = t[1] < 0.0;
  place.from_south = t[5] > 0.0;
  place.west = t[0] + 0.5 * t[1] + (place.from_east ? t[1] * (columns - 1.0) : 0.0);
  place.south = t[3] + 0.5 * t[5] + (place.from_south ? 0.0 : t[5] * (rows - 1.0));
  if (!(place.width > 0.0 && place.height > 0.0 &&
        std::isfinite(place.west + columns * place.width) &&
        std::isfinite(place.south + rows * place.height))) {
    bad_grid(source.name, fmt::format("its nodes are {:g} m by {:g} m apart, from {:g} E {:g} N",
                                      place.width, place.height, place.west, place.south));
  }
  expect_metres(source, place);
  if (source.driver() == "netCDF") check_netcdf_axes(source, place);
  return place;
}

namespace {

constexpr int kSameCrs = 90;  // per cent of GDAL's confidence; names may differ

/// "EPSG:32754"; empty for other authorities.
std::string code_of(const Gdal& gdal, OGRSpatialReferenceH crs) {
  for (const char* node : {static_cast<const char*>(nullptr), "PROJCS"}) {
    const std::string authority = text_of(gdal.OSRGetAuthorityName(crs, node));
    const std::string code = text_of(gdal.OSRGetAuthorityCode(crs, node));
    if (authority == "EPSG" && !code.empty()) return fmt::format("EPSG:{}", code);
  }
  return {};
}

}  // namespace

std::string crs_of(const GridSource& source) {
  const Gdal& gdal = source.gdal;
  OGRSpatialReferenceH crs = gdal.GDALGetSpatialRef(source.dataset);
  if (crs == nullptr || gdal.OSRIsGeographic(crs) != 0) return {};
  if (std::string code = code_of(gdal, crs); !code.empty()) return code;
  // Text files hold the definition without its code.
  int count = 0;
  int* confidence = nullptr;
  OGRSpatialReferenceH* const found = gdal.OSRFindMatches(crs, nullptr, &count, &confidence);
  for (int i = 0; i < count && confidence[i] >= kSameCrs; ++i) {
    if (std::string code = code_of(gdal, found[i]); !code.empty()) return code;
  }
  return {};
}

}  // namespace quorivex
