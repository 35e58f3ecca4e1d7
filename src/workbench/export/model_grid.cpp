// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/model_grid.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quorivex {
namespace {

constexpr double kSameWidth = 1e-6;  // relative: widths are differences of large coordinates

/// Consecutive cells of an axis, counted from 0.
struct Cells {
  std::int64_t first = 0;
  std::int64_t count = 0;
};

Cells core_cells(const std::vector<double>& widths) {
  const double most_frequent = most_frequent_width(widths);
  const auto wanted = [&](double w) { return is_same_width(w, most_frequent); };
  const auto first = std::find_if(widths.begin(), widths.end(), wanted);
  const auto last = std::find_if(widths.rbegin(), widths.rend(), wanted).base();
  return {first - widths.begin(), last - first};
}

std::vector<double> nodes_of(const std::vector<double>& nodes, const Cells& cells) {
  const auto first = nodes.begin() + cells.first;
  return {first, first + cells.count + 1};
}

}  // namespace

bool is_same_width(double a, double b) { return std::abs(a - b) <= kSameWidth * b; }

double most_frequent_width(std::vector<double> widths) {
  std::sort(widths.begin(), widths.end());
  double most_frequent = widths.front();
  std::int64_t max = 0;
  for (auto from = widths.begin(); from != widths.end();) {
    const auto to =
        std::find_if_not(from, widths.end(), [&](double w) { return is_same_width(w, *from); });
    if (to - from > max) {
      max = to - from;
      most_frequent = *from;
    }
    from = to;
  }
  return most_frequent;
}

ModelGrid make_model_grid(const Mesh& mesh, ModelExtent extent, std::vector<double> values) {
  const bool core = extent == ModelExtent::core;
  const Cells columns = core ? core_cells(mesh.de) : Cells{0, mesh.ne};
  const Cells rows = core ? core_cells(mesh.dn) : Cells{0, mesh.nn};
  ModelGrid grid;
  grid.ne = columns.count;
  grid.nn = rows.count;
  grid.nz = mesh.nz;
  grid.easting_nodes = nodes_of(mesh.easting_nodes, columns);
  grid.northing_nodes = nodes_of(mesh.northing_nodes, rows);
  for (auto depth = mesh.depth_nodes.rbegin(); depth != mesh.depth_nodes.rend(); ++depth) {
    grid.elevation_nodes.push_back(mesh.z0 - *depth);
  }
  grid.values = std::move(values);
  grid.columns = mesh.ne;
  grid.first_column = columns.first;
  grid.first_row = rows.first;
  return grid;
}

ValueRange value_range(const ModelGrid& grid) {
  ValueRange range;
  for (std::int64_t j = 0; j < grid.nn; ++j) {
    for (std::int64_t i = 0; i < grid.ne; ++i) {
      for (std::int64_t k = 0; k < grid.nz; ++k) {
        const double value = grid(i, j, k);
        if (std::isnan(value)) continue;
        range.min = range.count == 0 ? value : std::min(range.min, value);
        range.max = range.count == 0 ? value : std::max(range.max, value);
        ++range.count;
      }
    }
  }
  return range;
}

std::vector<double> middles(const std::vector<double>& nodes) {
  std::vector<double> middle;
  for (std::size_t i = 1; i < nodes.size(); ++i) middle.push_back((nodes[i - 1] + nodes[i]) / 2.0);
  return middle;
}

}  // namespace quorivex
