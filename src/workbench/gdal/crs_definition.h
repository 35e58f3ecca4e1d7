// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace quorivex {

/// A coordinate reference system as other programs know it.
struct CrsDefinition {
  std::string name;      ///< "WGS 84 / UTM zone 54S"
  std::string wkt;       ///< well-known text, version 2 (ISO 19162)
  std::string wkt1;      ///< version 1, for older programs
  std::string esri_wkt;  ///< as .prj files hold it
  std::string utm_zone;  ///< "54S"; empty where it is no UTM zone
};

/// Looks up a code such as "EPSG:32754" with GDAL, in a process of its own. Nothing where the
/// program was built without GDAL, or GDAL is missing.
/// @throws StopRun for a code that does not exist, and for coordinates that are not easting and
///         northing in metres
std::optional<CrsDefinition> define_crs(const std::string& crs);

}  // namespace quorivex
