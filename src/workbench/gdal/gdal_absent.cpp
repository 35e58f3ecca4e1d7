// SPDX-License-Identifier: GPL-3.0-or-later
// In place of the other files of this room where quorivex is built without GDAL.
#include "workbench/gdal/crs_definition.h"
#include "workbench/gdal/raster.h"

namespace quorivex {

std::optional<CrsDefinition> define_crs(const std::string&) { return {}; }

std::string geotiff_bytes(const std::string&, const Raster&, const RasterTexts&) { return {}; }

}  // namespace quorivex
