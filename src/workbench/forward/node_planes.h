// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "inversion/mesh_io/mesh.h"
#include "workbench/forward/field_directions.h"

namespace quorivex {

// Cells near the station: the closed form of their field, as differences of a function of their
// nodes (docs/theory.md, equations 1 to 6).

struct Point {
  double easting = 0.0;
  double northing = 0.0;
  double elevation = 0.0;
};

double sign(double x);

/// Layers from `first` to before `end`, none where these are equal.
struct LayerRange {
  std::int32_t first = 0;
  std::int32_t end = 0;

  bool empty() const { return first == end; }
};

/// The smallest range that holds both.
LayerRange hull(const LayerRange& a, const LayerRange& b);

/// The nodes of a mesh as a station sees them, and the planes of nodes between which a row of
/// columns lies.
struct NodePlanes {
  explicit NodePlanes(const Mesh& mesh);
  void place(const Mesh& mesh, const Point& station);

  /// Makes plane j of the nodes, from 0, the northern one of two: the differences down its columns
  /// in the layers of `near`, one range per column of nodes.
  void next(std::size_t j, const std::vector<LayerRange>& near, const TensorWeights& weights);

  /// The value of the cell in layer k (from 0) of column i (from 0) between the two planes.
  double value(std::size_t i, std::size_t k) const {
    const std::size_t of_west = i * layers + k;
    const std::size_t of_east = of_west + layers;
    return (plane[of_east] - plane[of_west]) - (plane_before[of_east] - plane_before[of_west]);
  }

  // Offsets of the nodes of an axis from the station, with sign and magnitude, in units of a scale.
  std::vector<double> east, north, up;
  std::vector<double> up_sign, abs_up;
  std::size_t layers = 0;
  std::int64_t stride = 0;           ///< nodes down a column, rounded up to a multiple of kVector
  double log_aligned = 0.0;          ///< stands for the logarithm of a distance of 0
  std::vector<double> log_north_of;  ///< stride: distances from the lines going north
  std::vector<double> log_east_of;   ///< stride: distances from the lines of a plane going east
  std::vector<double> column;        ///< stride
  std::vector<double> plane_before;  ///< nz x (ne+1)
  std::vector<double> plane;
};

}  // namespace quorivex
