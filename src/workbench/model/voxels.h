// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "workbench/model/source_columns.h"

namespace quorivex {

/// From one face to the opposite one along an axis, metres.
struct Span {
  double low = 0.0;
  double high = 0.0;
};

/// Boxes along the axes, each with values.
struct Voxels {
  std::string file;
  /// Distinct spans along easting, northing and elevation.
  std::array<std::vector<Span>, 3> spans;
  /// Of each voxel its three spans, from 0.
  std::vector<std::array<std::int32_t, 3>> at;
  std::vector<std::vector<double>> values;  ///< as SourceColumns::values, one per voxel
  std::vector<std::string> units;           ///< of each voxel; empty without
  std::vector<std::int64_t> lines;          ///< of the file; empty for a grid
};

/// Reads a table with one row per voxel: its centre (easting, northing, elevation) and, for axes
/// along which the centres are not at regular steps, its sizes (dx, dy, dz).
/// @throws StopRun as read_source_table; for centres at irregular steps without sizes, and for two
/// voxels at one place
Voxels read_voxel_table(const std::string& file, const SourceColumns& columns, SourceNotes& notes);

/// Whether the file begins as netCDF does.
bool is_netcdf_file(const std::string& file);

/// Reads variables over three coordinates from netCDF, classic or version 4, as `qvx export
/// --netcdf` writes it. The faces are the bounds of the coordinates or else lie halfway between
/// them. A coordinate that is positive down has the elevation 0 at 0. Voxels where a value is
/// missing are left out.
/// @throws StopRun naming what is wrong
Voxels read_voxel_netcdf(const std::string& file, const SourceColumns& columns, SourceNotes& notes);

}  // namespace quorivex
