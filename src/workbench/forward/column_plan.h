// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/eight.h"
#include "base/view1.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

inline constexpr const char* kPrismRow = "prism_row";  ///< names allocations that fail

/// From this distance of its centre on, in units of its longest edge, so many terms of the
/// expansion of a cell are within 1e-7 of its field.
struct FarRange {
  double distance = 0.0;
  int terms = 0;
};
/// Largest errors over directions and shapes of cells are at most 7e-8 at each of these distances.
inline constexpr std::array<FarRange, 4> kFarRanges{{{40.0, 2}, {10.0, 3}, {5.5, 4}, {3.8, 5}}};

/// The fewest terms for a squared distance in units of the longest edge; 0 where none suffice.
constexpr int terms_needed(double squared_distance) {
  for (const FarRange& range : kFarRanges) {
    if (squared_distance >= range.distance * range.distance) return range.terms;
  }
  return 0;
}

/// The layers of a mesh as a station sees them, padded with the last one to a multiple of kVector.
struct StationLayers {
  explicit StationLayers(const Mesh& mesh);
  void place(const Mesh& mesh, double elevation);

  std::int64_t blocks() const { return length(is_uniform); }

  std::vector<double> up;                 ///< of the centres above the station, metres
  std::vector<double> thickness;          ///< metres
  std::vector<double> thickness_squared;  ///< square metres
  std::vector<std::uint8_t> is_uniform;   ///< per block of kVector: all of the commonest thickness
  double uniform_squared = 0.0;           ///< that thickness squared, where there is one
  bool any_uniform = false;
  bool all_uniform = false;
  std::vector<double> min_up_squared;  ///< per block
  /// Per block and number of terms: the squared horizontal distance from which they suffice for
  /// cells that are thicker than wide.
  std::vector<std::array<double, kFarRanges.size()>> thick_across;
};

/// How the cells of a column are computed: those of the layers first..end-1 (from 0) from their
/// nodes, the others by expansions of up to so many terms.
struct ColumnPlan {
  std::int32_t near_first = 0;
  std::int32_t near_end = 0;
  int terms = 2;

  bool any_near() const { return near_first < near_end; }
};

/// A column as a station sees it.
struct ColumnPlace {
  double across = 0.0;   ///< squared horizontal distance of its centre, square metres
  double width = 0.0;    ///< the larger one, metres
  std::int32_t top = 0;  ///< its first ground cell, from 0
  std::int32_t end = 0;  ///< the number of layers
};

/// Sets the terms of the blocks of a column, and returns what holds for the whole column.
ColumnPlan plan_column(const StationLayers& layers, const ColumnPlace& column,
                       std::uint8_t* block_terms);

}  // namespace quorivex
