// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_vsi.h>
#include <gdal.h>
#include <ogr_srs_api.h>

namespace quorivex {

/// What is called of GDAL (https://gdal.org/api). It brings a hundred libraries, so it is loaded
/// into the one process that reads a grid, and no other command waits for it or depends on it.
struct Gdal {
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define QUORIVEX_GDAL_FUNCTION(name) decltype(&::name) name = nullptr;
#include "workbench/gdal/gdal_functions.inc"
#undef QUORIVEX_GDAL_FUNCTION
};

/// Whether the library can be loaded; it stays loaded where it can.
bool is_gdal_there();

/// Loads GDAL with its drivers of local raster files. What it says is kept as its last message and
/// not printed.
/// @throws StopRun where the library is missing
Gdal load_gdal();

}  // namespace quorivex
