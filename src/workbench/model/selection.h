// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/coordinates/crs.h"
#include "workbench/model/model_cells.h"
#include "workbench/terrain/coverage.h"

namespace quorivex {

/// Values that an operation brings with it: QUANTITY=@NAME takes them. NaN: none.
struct Column {
  std::string name;  ///< empty: QUANTITY=@
  std::vector<double> values;
};

/// Where an operation holds, and what it brings.
struct Selection {
  /// One per ground cell in cell order: 0 where it does not hold, otherwise the number from 1 of
  /// the cell's entry in the columns; 1 everywhere for an operation without columns.
  std::vector<std::int32_t> entries;
  std::vector<Column> columns;
  /// Of two neighbouring ground cells where it holds (from 1): whether it holds for the face
  /// between them. Empty: for every face.
  std::function<bool(std::int64_t first, std::int64_t second)> face;
  std::vector<std::string> remarks;  ///< what its files hold and how it was used, for the user
};

/// What operations may look at.
struct ModelSources {
  const ModelCells& cells;
  const Observations* data = nullptr;  ///< nothing without --data
  Warn warn;
  CrsSource crs = {};  ///< of the cells, where it is known
};

/// The ground cells for which inside(const GridCell&) is true.
template <class Inside>
Selection select_cells(const ModelCells& cells, Inside inside) {
  Selection selection;
  selection.entries = allocate<std::int32_t>(as_size(cells.ground->cells()), "qvx model");
  for_each_ground_cell(*cells.ground, [&](const GridCell& at) {
    if (inside(at)) selection.entries[as_size(at.below - 1)] = 1;
  });
  return selection;
}

/// A value for each ground cell, which @ takes: value_of(const GridCell&); NaN takes it out.
template <class ValueOf>
Selection select_with_values(const ModelCells& cells, ValueOf value_of) {
  const std::size_t ground_cells = as_size(cells.ground->cells());
  Selection selection;
  selection.entries = allocate<std::int32_t>(ground_cells, "qvx model");
  selection.columns.push_back({"", allocate<double>(ground_cells, "qvx model")});
  for_each_ground_cell(*cells.ground, [&](const GridCell& at) {
    const double value = value_of(at);
    if (std::isnan(value)) return;
    selection.entries[as_size(at.below - 1)] = static_cast<std::int32_t>(at.below);
    selection.columns[0].values[as_size(at.below - 1)] = value;
  });
  return selection;
}

/// What a centre may lie beyond a boundary and still be on it, metres: coordinates are rounded.
inline constexpr double kOnBoundary = 1e-6;

}  // namespace quorivex
