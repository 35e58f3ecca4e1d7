// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "workbench/forward/cell_expansion.h"
#include "workbench/forward/field_directions.h"
#include "workbench/forward/node_planes.h"

namespace quorivex {

/// The plans of a row of columns.
struct RowPlan {
  std::vector<ColumnPlan> columns;
  std::vector<std::uint8_t> block_terms;  ///< per column and block of layers
  bool any_near = false;
};

/// Work vectors of `prism_row`, one set per thread, made before the threads start.
struct PrismScratch {
  explicit PrismScratch(const Mesh& mesh);

  NodePlanes nodes;
  StationLayers layers;
  std::vector<double> east_centre, east_width;  ///< of the columns, from the station, metres
  ColumnPolynomials polynomials;
  RowPlan row, next_row;
  std::vector<LayerRange> near;  ///< per column of nodes of a plane
  std::vector<double> column;    ///< the values of its cells
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
