// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <string>
#include <vector>

#include "workbench/tables/table.h"

namespace quorivex {

// Tables and grids that bring values to the cells of a mesh.

inline constexpr double kMaxCoordinate = 1e9;    ///< metres
inline constexpr double kMaxElevation = 1e5;     ///< metres
inline constexpr double kMaxSourceValue = 1e10;  ///< of columns that quantities take

/// What is wanted of a source besides its geometry.
struct SourceColumns {
  std::vector<std::string> values;   ///< columns of numbers
  std::string unit;                  ///< column of units; empty: none
  std::vector<std::string> missing;  ///< as TableRequest::missing
  /// Columns of the geometry under other names than the usual ones: "easting" → "X_MGA".
  std::map<std::string, std::string> names;
};

/// What a reader reports, in its order; for the user.
struct SourceNotes {
  std::vector<std::string> remarks;
  std::vector<std::string> warnings;
};

/// A column of the geometry, by the name that the user gave or by a usual one.
WantedColumn geometry_column(const SourceColumns& columns, const std::string& what,
                             std::vector<std::string> usual, double min, double max);

/// Easting, northing and elevation.
std::vector<WantedColumn> place_columns(const SourceColumns& columns);

/// Reads a table with a heading.
/// @throws StopRun as read_table, and where every row is marked as missing
Table read_source_table(const std::string& name, const std::vector<WantedColumn>& wanted,
                        const SourceColumns& columns, SourceNotes& notes);

/// The columns of `columns` behind those of the geometry, then the one of units.
void add_value_columns(const SourceColumns& columns, std::vector<WantedColumn>& wanted);

/// The values of a vector at these places, in their order.
template <class T>
std::vector<T> values_at(const std::vector<T>& values, const std::vector<std::size_t>& order) {
  std::vector<T> ordered;
  ordered.reserve(order.size());
  for (const std::size_t at : order) ordered.push_back(values[at]);
  return ordered;
}

}  // namespace quorivex
