// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "workbench/forward/cell_expansion.h"
#include "workbench/forward/field_directions.h"

namespace quorivex {

struct Point {
  double easting = 0.0;
  double northing = 0.0;
  double elevation = 0.0;
};

/// Work vectors of `prism_row`, one set per thread, made before the threads start.
struct PrismScratch {
  explicit PrismScratch(const Mesh& mesh);

  // What the nodes of an axis are to the station: offset, its sign and magnitude, in units of the
  // scale of the station.
  std::vector<double> east, north, up;
  std::vector<double> up_sign, abs_up;
  std::int64_t stride = 0;           ///< nz+1, rounded up so that no vector is left half full
  std::vector<double> log_north_of;  ///< stride x (ne+1): distances from the lines going north
  std::vector<double> log_east_of;   ///< stride: distances from the lines of a plane going east
  std::vector<double> column;        ///< stride
  std::vector<double> plane_before;  ///< nz x (ne+1): differences down the columns of nodes
  std::vector<double> plane;

  // Of the centres of the cells, in metres.
  std::vector<double> east_centre, east_width;
  StationLayers layers;
  std::vector<double> inverse_edges;  ///< 1 / thickness^2 of the layers
  double min_inverse_edge = 0.0;
  ColumnPolynomials polynomials;
  std::vector<ColumnPlan> plans, next_plans;                ///< of a row of columns and the next
  std::vector<std::uint8_t> block_terms, next_block_terms;  ///< per column and 8 layers
  std::vector<double> nearest;                              ///< per 8 layers
};

/// Takes the values of the ground cells of a column, from the top down.
using ColumnSink = std::function<void(const GridColumn& column, const double* cells)>;

/// Hands out, column by column in cell order, the anomalies in nT at the station of the ground
/// cells with susceptibility 1 SI: by the closed form for uniformly magnetised prisms near the
/// station, and elsewhere by expansions within 1e-7 of the cell's field (docs/theory.md, equations
/// 1 to 8). Finite everywhere; a station on a horizontal face counts as above it, on a vertical
/// face it gets the mean of both sides, on an edge the value at a thousandth of the smallest width
/// from it.
void prism_row(const Ground& ground, const Point& station, const TensorWeights& weights,
               PrismScratch& scratch, const ColumnSink& sink);

/// True when the station lies on an edge or corner of a ground cell, where the field is infinite.
bool on_cell_edge(const Ground& ground, const Point& station, PrismScratch& scratch);

}  // namespace quorivex
