// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

/// Elevations (m) at the nodes of a regular grid.
struct TerrainGrid {
  std::int64_t columns = 0;     ///< 2 or more
  std::int64_t rows = 0;        ///< 2 or more
  double west = 0.0;            ///< easting of the first node of a row, metres
  double south = 0.0;           ///< northing of the last row
  double width = 0.0;           ///< between columns
  double height = 0.0;          ///< between rows
  std::vector<double> nodes;    ///< rows from north to south, each from west to east; NaN: no value
  std::string crs = {};         ///< "EPSG:32754"; empty where it is not known
  std::string unit = "metres";  ///< of the elevations in the file

  double east() const { return west + width * static_cast<double>(columns - 1); }
  double north() const { return south + height * static_cast<double>(rows - 1); }

  /// Bilinear between the nodes; beyond them that of the nearest edge. NaN where a node that
  /// counts has no value.
  double elevation(double easting, double northing) const;

  /// The mean of the same surface over a rectangle about the place, along an axis on which its
  /// width is at least two steps of the grid; along the other, the surface at the place. Nodes
  /// without a value are left out of a mean where they have less than half of its weight.
  double mean_elevation(double easting, double northing, double wide, double high) const;
};

inline constexpr std::int64_t kMaxNodes = 1'000'000;  ///< along one side of a grid

/// Whether a terrain can lie at this elevation (metres): from -12,000 to 9,000, and not at -9999,
/// which marks places without a value in most files.
bool is_elevation(double elevation);

/// Why it may not, as the end of a sentence.
std::string why_no_elevation(double elevation);

/// @throws StopRun naming the place of the first elevation that cannot be meant
void check_elevations(const TerrainGrid& grid, const std::string& name);

}  // namespace quorivex
