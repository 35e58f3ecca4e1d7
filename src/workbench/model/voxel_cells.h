// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "workbench/model/voxels.h"

namespace quorivex {

/// What voxels give to cells.
struct VoxelCells {
  std::vector<std::int32_t> entries;  ///< one per ground cell, numbers from 1; 0: none
  std::int64_t with = 0;              ///< cells that have one
  std::int64_t less_than_half = 0;    ///< cells that voxels cover, but less than half of them
  std::int64_t unused = 0;            ///< voxels that give nothing to any cell
};

/// The voxel that holds the centre of a cell; of neighbours with the centre on their common face
/// it is the first.
/// @throws StopRun for a centre within two voxels
VoxelCells voxels_at_centres(const Ground& ground, const Voxels& voxels);

/// Means by overlapping volume, of each column of voxels; the entry of a cell is its own number,
/// where voxels cover half of it or more.
/// @throws StopRun for a cell that voxels cover twice
struct VoxelMeans {
  VoxelCells cells;
  std::vector<std::vector<double>> values;  ///< as Voxels::values, one per ground cell
};
VoxelMeans means_of_voxels(const Ground& ground, const Voxels& voxels);

/// The unit with the largest volume in a cell, where voxels cover half of it or more; of equal
/// ones the first.
/// @param units  of each voxel, from 1
/// @throws StopRun for a cell that voxels cover twice
VoxelCells largest_units(const Ground& ground, const Voxels& voxels,
                         const std::vector<std::int32_t>& units);

}  // namespace quorivex
