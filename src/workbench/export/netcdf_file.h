// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "workbench/export/model_grid.h"
#include "workbench/results/run_summary.h"

namespace quorivex {

/// Writes a model as netCDF-4 with the CF conventions 1.8: float susceptibility(elevation,
/// northing, easting), _FillValue in air; coordinates are the middles of the cells, their faces the
/// bounds. `run_name` names the run in title and history. A `crs` ("EPSG:32754") that is not empty
/// becomes the grid mapping of the model, with its well-known text where GDAL is there.
/// @throws StopRun "ERROR writing file NAME: REASON"
void write_model_netcdf(const std::string& name, const ModelGrid& grid, const std::string& run_name,
                        const SummaryRow& row, const std::string& crs = {});

}  // namespace quorivex
