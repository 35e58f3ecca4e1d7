// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "workbench/gdal/raster.h"

namespace quorivex {

/// Writes an ESRI ASCII grid: six lines of head, then a line per row from the north, with six
/// digits and NODATA_value -9999. Its coordinate system stands in a file beside it, if anywhere.
void write_ascii_grid(const std::string& name, const Raster& raster);

}  // namespace quorivex
