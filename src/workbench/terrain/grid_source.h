// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

#include "base/isolated.h"
#include "workbench/gdal/gdal_library.h"

namespace quorivex {

/// A grid that GDAL has opened. Nothing of it is given back: its process ends with it.
struct GridSource {
  const Gdal& gdal;
  std::string name;  ///< of the file
  GDALDatasetH dataset;

  std::string driver() const {
    return gdal.GDALGetDriverShortName(gdal.GDALGetDatasetDriver(dataset));
  }
};

/// Ends the command with what is wrong with a grid, and what a grid should be.
[[noreturn]] void bad_grid(const std::string& name, const std::string& why);

/// " (GDAL: ...)" with its last message, if any.
std::string as_gdal_says(const Gdal& gdal);

/// Where a grid lies. Its nodes are the centres of its pixels.
struct GridPlace {
  std::int64_t columns = 0;
  std::int64_t rows = 0;
  double west = 0.0;        ///< of the first node of a row, metres
  double south = 0.0;       ///< of the southern row
  double width = 0.0;       ///< between columns
  double height = 0.0;      ///< between rows
  bool from_south = false;  ///< the file's rows go north
  bool from_east = false;   ///< they go west
};

/// @throws StopRun for a grid that is not over northing and easting in metres, with the command
///         that projects it
GridPlace place_of(const GridSource& source);

/// The code of its coordinate system ("EPSG:32754"); empty where GDAL finds none.
std::string crs_of(const GridSource& source);

/// The band of the elevations.
struct ElevationBand {
  int number = 1;
  std::string unit = "metres";
  double metres = 1.0;  ///< of the unit
};

/// @throws StopRun where it is not clear, and for a unit that is not known
ElevationBand elevation_band(const GridSource& source);

/// @throws StopRun for more values than the file can hold, and for what GDAL does not see in text
void check_values(const GridSource& source, const GridPlace& place, const ElevationBand& band);

/// Writes the elevations (metres, NaN without a value) as doubles, rows from north to south, each
/// from west to east.
/// @throws StopRun for what GDAL cannot read
void write_elevations(const GridSource& source, const GridPlace& place, const ElevationBand& band,
                      const TakeBytes& write);

}  // namespace quorivex
