// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/gdal/crs_definition.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "base/isolated.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/gdal/gdal_library.h"

namespace quorivex {
namespace {

constexpr char kEnd = '\0';  // of each text on its way between the processes
constexpr double kMetre = 1e-9;

[[noreturn]] void refuse(const std::string& crs, const std::string& why) {
  stop_run(
      fmt::format(" ERROR: the coordinate system {} {}. Expected one of easting and northing in\n"
                  " metres, such as EPSG:32754 for zone 54 south of UTM on WGS 84.",
                  crs, why));
}

std::string wkt_of(const Gdal& gdal, OGRSpatialReferenceH system, const char* format) {
  const std::array<const char*, 2> options{format, nullptr};
  char* text = nullptr;
  if (gdal.OSRExportToWktEx(system, &text, options.data()) != OGRERR_NONE || text == nullptr) {
    return {};
  }
  return text;
}

void write_definition(const std::string& crs, const TakeBytes& write) {
  if (!is_gdal_there()) return;
  const Gdal gdal = load_gdal();
  OGRSpatialReferenceH system = gdal.OSRNewSpatialReference(nullptr);
  const int code = std::atoi(crs.c_str() + crs.find(':') + 1);
  if (gdal.OSRImportFromEPSG(system, code) != OGRERR_NONE) {
    refuse(crs, fmt::format("is not known ({})", gdal.CPLGetLastErrorMsg()));
  }
  if (gdal.OSRIsProjected(system) == 0) refuse(crs, "has no easting and northing");
  const double metres = gdal.OSRGetLinearUnits(system, nullptr);
  if (!(metres > 1.0 - kMetre && metres < 1.0 + kMetre)) {
    refuse(crs, fmt::format("has a unit of {:.6g} m", metres));
  }
  int north = 0;
  const int zone = gdal.OSRGetUTMZone(system, &north);
  const char* const name = gdal.OSRGetName(system);
  for (const std::string& text :
       {std::string(name == nullptr ? "" : name), wkt_of(gdal, system, "FORMAT=WKT2_2018"),
        wkt_of(gdal, system, "FORMAT=WKT1"), wkt_of(gdal, system, "FORMAT=WKT1_ESRI"),
        zone == 0 ? std::string() : fmt::format("{}{}", zone, north != 0 ? 'N' : 'S')}) {
    write(text + kEnd);
  }
}

}  // namespace

std::optional<CrsDefinition> define_crs(const std::string& crs) {
  std::string bytes;
  const bool made = in_own_process([&](const TakeBytes& write) { write_definition(crs, write); },
                                   [&](std::string_view piece) { bytes.append(piece); });
  if (made && bytes.empty()) return {};
  CrsDefinition found;
  std::size_t at = 0;
  for (std::string* text :
       {&found.name, &found.wkt, &found.wkt1, &found.esri_wkt, &found.utm_zone}) {
    const std::size_t end = bytes.find(kEnd, at);
    if (!made || end == std::string::npos) refuse(crs, "makes GDAL fail");
    *text = bytes.substr(at, end - at);
    at = end + 1;
  }
  return found;
}

}  // namespace quorivex
