// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "inversion/mesh_io/observations.h"
#include "workbench/export/model_grid.h"
#include "workbench/results/iteration_files.h"
#include "workbench/results/line_names.h"

namespace quorivex {

// Comma-separated values with a header line; coordinates and lengths in metres to 12 digits.

/// One line per cell in the order of model files: its centre, its sizes and its susceptibility,
/// which is empty in air. Without `with_air` air cells are left out.
void write_model_csv(const std::string& name, const ModelGrid& grid, bool with_air);

/// One line per datum: number, position, observed value, standard deviation, predicted value,
/// residual (observed - predicted, nT) and the residual in standard deviations; then the names of
/// its line and its fiducial where there are any.
void write_data_csv(const std::string& name, const Observations& observations, const DataFit& fit,
                    const StationLabels& labels = {});

/// "model.vrt" for the table "model.csv".
std::string vrt_name(const std::string& table);

/// Writes a file for GIS that makes such a table, NAME.csv, a layer of points in the coordinate
/// system `crs` ("EPSG:32754"), in OGR's virtual format.
void write_points_vrt(const std::string& table, const std::string& crs);

}  // namespace quorivex
