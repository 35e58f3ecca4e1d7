// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/ground.h"
#include "workbench/forward/field_directions.h"

namespace quorivex {

struct Point {
  double easting = 0.0;
  double northing = 0.0;
  double elevation = 0.0;
};

/// Work vectors of `prism_row`, one set per thread, made before the threads start.
/// Axis vectors hold what the nodes of an axis are to the station: offset, its sign and magnitude.
struct PrismScratch {
  explicit PrismScratch(const Mesh& mesh);

  std::vector<double> east, north, up;
  std::vector<double> up_sign, abs_up;
  std::int64_t stride = 0;           ///< nz+1, rounded up so that no vector is left half full
  std::vector<double> log_north_of;  ///< stride x (ne+1): distances from the lines going north
  std::vector<double> log_east_of;   ///< stride: distances from the lines of a plane going east
  std::vector<double> column;        ///< stride
  std::vector<double> plane_before;  ///< nz x (ne+1)
  std::vector<double> plane;
};

/// row(c) = anomaly in nT at the station of the c-th ground cell with susceptibility 1 SI, by the
/// closed form for uniformly magnetised prisms (docs/theory.md, equations 1 to 6). Finite
/// everywhere; a station on a horizontal face counts as above it, on a vertical face it gets the
/// mean of both sides, on an edge the value at a thousandth of the smallest width from it.
void prism_row(const Ground& ground, const Point& station, const TensorWeights& weights,
               PrismScratch& scratch, View1<double> row);

/// True when the station lies on an edge or corner of a ground cell, where the field is infinite.
bool on_cell_edge(const Ground& ground, const Point& station, PrismScratch& scratch);

}  // namespace quorivex
