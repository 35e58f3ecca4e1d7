// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "workbench/export/model_grid.h"
#include "workbench/gdal/raster.h"

namespace quorivex {

/// What a slice follows.
enum class SliceKind {
  elevation,  ///< a horizontal plane
  depth,      ///< the top of the ground cells, that far below it
  easting,    ///< a vertical plane from south to north
  northing    ///< a vertical plane from west to east
};

struct SlicePlace {
  SliceKind kind = SliceKind::elevation;
  double metres = 0.0;
};

inline bool is_plan(const SlicePlace& place) {
  return place.kind == SliceKind::elevation || place.kind == SliceKind::depth;
}

/// The cells of a model along a plane or the terrain: easting and northing on plans, easting or
/// northing and elevation on vertical sections.
struct Slice {
  std::vector<double> x_nodes;  ///< faces of the cells in metres, rising
  std::vector<double> y_nodes;
  std::vector<double> values;  ///< SI, x fastest, from the lowest y; NaN in air, below the mesh
};

/// "depth_0025m", "elevation_-0012.5m": four digits or more before the point, three after it.
std::string slice_name(const SlicePlace& place);

/// @throws StopRun for a place outside the model, with its span
void check_slice_places(const ModelGrid& grid, const Ground& ground,
                        const std::vector<SlicePlace>& places);

/// A place on a face between two cells belongs to the one below, west or south of it; one on the
/// outer faces to the cell there. `ground` is that of the whole mesh.
Slice cut_model(const ModelGrid& grid, const Ground& ground, const SlicePlace& place);

/// Width of the square cells of plans: the smaller of the commonest widths of columns and rows.
double raster_cell(const ModelGrid& grid);

/// Whether all columns and rows of the model have that width.
bool is_even(const ModelGrid& grid, double cell);

/// The values of a plan on square cells, each that of the cell where its middle lies.
/// @throws StopRun for more than a hundred million cells
Raster raster_of(const Slice& plan, double cell);

}  // namespace quorivex
