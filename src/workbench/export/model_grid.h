// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// A model as other programs expect it: column i from the west, row j from the south,
/// layer k from the bottom, each counted from 0.
struct ModelGrid {
  std::int64_t ne = 0;
  std::int64_t nn = 0;
  std::int64_t nz = 0;
  std::vector<double> easting_nodes;    ///< ne+1 coordinates in metres; these three increase
  std::vector<double> northing_nodes;   ///< nn+1
  std::vector<double> elevation_nodes;  ///< nz+1, from the bottom of the mesh to its top

  /// Susceptibility (SI); NaN in air.
  double operator()(std::int64_t i, std::int64_t j, std::int64_t k) const {
    return values[static_cast<std::size_t>(((j + first_row) * columns + i + first_column) * nz +
                                           nz - 1 - k)];
  }

  std::vector<double> values;  ///< of every cell of the mesh, in its cell order
  std::int64_t columns = 0;    ///< of the mesh
  std::int64_t first_column = 0;
  std::int64_t first_row = 0;

  std::int64_t cells() const { return ne * nn * nz; }
};

/// Which columns of the mesh to export.
enum class ModelExtent {
  whole,
  core  ///< from the first to the last cell of the most frequent width: without the padding
};

/// The commonest of the widths, which may differ in the last digits.
double most_frequent_width(std::vector<double> widths);

/// Whether two widths are the same but for the rounding of coordinates.
bool is_same_width(double a, double b);

/// `values` as from `read_model`.
ModelGrid make_model_grid(const Mesh& mesh, ModelExtent extent, std::vector<double> values);

/// Number and range of the values that are not NaN; 0 to 0 when there are none.
struct ValueRange {
  std::int64_t count = 0;
  double min = 0.0;
  double max = 0.0;
};
ValueRange value_range(const ModelGrid& grid);

/// Middles of the cells between nodes.
std::vector<double> middles(const std::vector<double>& nodes);

}  // namespace quorivex
