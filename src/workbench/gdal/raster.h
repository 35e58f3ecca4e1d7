// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quorivex {

/// An evenly spaced map of square cells with a value each.
struct Raster {
  static constexpr float kNoData = -9999.0F;

  std::int64_t columns = 0;
  std::int64_t rows = 0;
  double west = 0.0;   ///< western edge of the first column, in metres as all of these
  double south = 0.0;  ///< southern edge of the last row
  double cell = 0.0;
  std::vector<float> values;  ///< rows from the north, each from the west; kNoData for none
};

/// What a GeoTIFF says of its values.
struct RasterTexts {
  std::string crs;          ///< "EPSG:32754"; empty if not known
  std::string description;  ///< of the band
  std::string unit;
  std::vector<std::pair<std::string, std::string>> metadata;
};

/// The bytes of a GeoTIFF, read back and compared; none where GDAL is missing. GDAL is loaded: to
/// be called in a process of its own. `name` is for messages.
/// @throws StopRun where GDAL fails
std::string geotiff_bytes(const std::string& name, const Raster& raster, const RasterTexts& texts);

}  // namespace quorivex
