// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/export/model_grid.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {

// VTK XML files (version 1.0) with appended raw data, little-endian, 64-bit counts, as in "VTK File
// Formats for VTK Version 4.2", section "XML File Formats". x is easting, y northing, z elevation,
// in metres.

/// A model under its name in a file.
struct NamedGrid {
  std::string name;
  const ModelGrid& grid;
};

/// Rectilinear grid with the cell data of each model (float32, 0 in air) and `vtkGhostType` (uint8,
/// 32 in air: such cells are hidden). There is at least one model; all have the same grid and air.
/// A `crs` ("EPSG:32754") that is not empty becomes the field data `coordinate_system`.
void write_models_vtr(const std::string& name, const std::vector<NamedGrid>& models,
                      const std::string& crs = {});

/// The same with one model, `susceptibility`.
void write_model_vtr(const std::string& name, const ModelGrid& grid, const std::string& crs = {});

/// One point per station with `datum` (from 1), `observed`, `standard_deviation`, `predicted`,
/// `residual` (nT) and `normalised_residual`; `crs` as above.
void write_data_vtp(const std::string& name, const Observations& observations, const DataFit& fit,
                    const std::string& crs = {});

/// A file of a collection.
struct CollectionEntry {
  std::int32_t iteration = 0;  ///< its time
  std::int32_t part = 0;       ///< distinguishes files of the same iteration
  std::string file;            ///< in the folder of the collection
};

/// ParaView collection: one time step per iteration.
void write_collection(const std::string& name, const std::vector<CollectionEntry>& entries);

}  // namespace quorivex
