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

/// How much the residuals of neighbouring data have in common.
struct SpatialCorrelation {
  double correlation = 0.0;  ///< of two data in the same square, 0 for independent errors
  bool significant = false;  ///< more than expected by chance for independent errors
  double side = 0.0;         ///< of the squares, metres
  double squares = 0.0;      ///< number of those that hold data
  double easting = 0.0;      ///< centre of the square whose mean is farthest from that of all
  double northing = 0.0;     ///< values
  double mean = 0.0;         ///< of that square
  double standard_errors =
      0.0;  ///< its distance, in standard deviations of a mean of so many values
};

/// Intraclass correlation of values in squares that hold six data each on average, from the ratio
/// F of the mean squares between and within squares (Fisher 1925): (F - 1) / (F - 1 + n), n data
/// per square. It is significant when F exceeds 1 by four of its standard deviations. Nothing for
/// fewer than five squares or values that do not vary.
/// @param x, y  eastings and northings (m) of the values
std::optional<SpatialCorrelation> spatial_correlation(const std::vector<double>& x,
                                                      const std::vector<double>& y,
                                                      const std::vector<double>& values);

/// Median of the horizontal distances (m) from the cells between the data (those of the mesh's
/// columns whose centres lie within the data's convex hull) to the nearest datum: a quarter of the
/// spacing of flight lines. Where no centre does, a quarter of the spacing of data on one line.
double typical_gap(const Mesh& mesh, const std::vector<double>& x, const std::vector<double>& y);

struct ResidualStatistics {
  double mean = 0.0;
  double per_datum = 0.0;             ///< sum of squares / number of data: 1 for errors as stated
  std::int64_t beyond_four = 0;       ///< data off by more than four standard deviations
  std::vector<std::int32_t> largest;  ///< numbers of at most ten data, largest residual first
  std::optional<SpatialCorrelation> correlation;  ///< nothing for too few data
};

/// @param normalised  (observed - predicted) / standard deviation of each datum
ResidualStatistics residual_statistics(const std::vector<double>& x, const std::vector<double>& y,
                                       const std::vector<double>& normalised);

/// The outermost cells of a mesh on one of its sides.
struct MeshEdge {
  const char* side = "";   ///< "western", ..., "bottom"
  double value = 0.0;      ///< susceptibility that is farthest from the median
  double departure = 0.0;  ///< its distance, as a share of the largest in the whole model
};

struct ModelStatistics {
  double min = 0.0;  ///< susceptibilities of the ground cells
  double median = 0.0;
  double max = 0.0;
  std::array<MeshEdge, 5> edges;  ///< west, east, south, north, bottom
};

/// @param values  every cell of the mesh in cell order, NaN in air
ModelStatistics model_statistics(const Mesh& mesh, const std::vector<double>& values);

}  // namespace quorivex
