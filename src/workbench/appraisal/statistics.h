// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

// What a reader wants to know of residuals and model before looking at pictures.

/// How much alike residuals of neighbouring data are.
struct SpatialCorrelation {
  double correlation =
      0.0;  ///< of two data in the same square, 0 where they have nothing in common
  bool significant = false;  ///< more than chance makes of independent errors
  double side = 0.0;         ///< of the squares, metres
  double squares = 0.0;      ///< how many hold data
  // The square whose mean is farthest from that of all values:
  double easting = 0.0;  ///< of its centre
  double northing = 0.0;
  double mean = 0.0;
  double standard_errors = 0.0;  ///< how far, in standard deviations of a mean of so many values
};

/// Intraclass correlation of values in squares that hold six data each on average, from the ratio
/// F of the mean squares between and within squares (Fisher 1925): (F - 1) / (F - 1 + n), n data a
/// square. It is significant where F exceeds 1 by four of its standard deviations. Nothing for
/// fewer than five squares or values that do not vary.
/// @param x, y  eastings and northings (m) of as many values
std::optional<SpatialCorrelation> neighbour_likeness(const std::vector<double>& x,
                                                     const std::vector<double>& y,
                                                     const std::vector<double>& values);

/// Median of the horizontal distances (m) from the cells between the data (those of the mesh's
/// columns whose centres lie within the data's convex hull) to the nearest datum: a quarter of the
/// distance of flight lines. Where no centre does, a quarter of the distance of data on one line.
double typical_gap(const Mesh& mesh, const std::vector<double>& x, const std::vector<double>& y);

struct ResidualStatistics {
  double mean = 0.0;
  double per_datum = 0.0;             ///< sum of squares / number of data: 1 for errors as stated
  std::int64_t beyond_four = 0;       ///< data off by more than four standard deviations
  std::vector<std::int32_t> largest;  ///< numbers of at most ten data, the worst first
  std::optional<SpatialCorrelation> likeness;  ///< nothing where data are too few to tell
};

/// @param normalised  (observed - predicted) / standard deviation of each datum
ResidualStatistics residual_statistics(const std::vector<double>& x, const std::vector<double>& y,
                                       const std::vector<double>& normalised);

/// The outermost cells of a mesh on one of its sides.
struct MeshEdge {
  const char* side = "";   ///< "western", ..., "bottom"
  double value = 0.0;      ///< susceptibility that is farthest from the median
  double departure = 0.0;  ///< how far, as a share of the farthest in the whole model
};

struct ModelStatistics {
  double least = 0.0;  ///< susceptibilities below the ground
  double median = 0.0;
  double most = 0.0;
  std::array<MeshEdge, 5> edges;  ///< west, east, south, north, bottom
};

/// @param values  every cell of the mesh in cell order, NaN in air
ModelStatistics model_statistics(const Mesh& mesh, const std::vector<double>& values);

}  // namespace quorivex
