// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/slices.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr double kOnFace = 1e-6;      // metres: nodes are sums of widths
constexpr double kMostPoints = 1e8;   // of a raster
constexpr double kRoundWidth = 1e-8;  // metres that differences of coordinates are off
constexpr double kAir = std::numeric_limits<double>::quiet_NaN();

/// The cell between rising nodes that holds a place: the lower one on a face.
std::int64_t cell_at(const std::vector<double>& nodes, double place) {
  const auto upper = std::lower_bound(nodes.begin() + 1, nodes.end() - 1, place - kOnFace);
  return upper - nodes.begin() - 1;
}

const std::vector<double>& nodes_across(const ModelGrid& grid, SliceKind kind) {
  if (kind == SliceKind::easting) return grid.easting_nodes;
  if (kind == SliceKind::northing) return grid.northing_nodes;
  return grid.elevation_nodes;
}

const char* name_of(SliceKind kind) {
  if (kind == SliceKind::easting) return "easting";
  if (kind == SliceKind::northing) return "northing";
  return kind == SliceKind::depth ? "depth" : "elevation";
}

/// Elevation of the ground in a column of the grid.
double surface_of(const ModelGrid& grid, const Ground& ground, std::int64_t i, std::int64_t j) {
  return ground.surface(static_cast<std::int32_t>(grid.first_row + j + 1),
                        static_cast<std::int32_t>(grid.first_column + i + 1));
}

/// From the ground of the highest column to the bottom of the mesh.
double max_depth(const ModelGrid& grid, const Ground& ground) {
  double highest = grid.elevation_nodes.front();
  for (std::int64_t j = 0; j < grid.nn; ++j) {
    for (std::int64_t i = 0; i < grid.ne; ++i) {
      highest = std::max(highest, surface_of(grid, ground, i, j));
    }
  }
  return highest - grid.elevation_nodes.front();
}

/// The values of a plan in the layers layer(i, j), -1 for none.
template <class Layer>
Slice cut_plan(const ModelGrid& grid, const Layer& layer) {
  Slice slice{grid.easting_nodes, grid.northing_nodes, {}};
  slice.values = allocate<double>(as_size(grid.ne * grid.nn), "cut_model", kAir);
  auto value = slice.values.begin();
  for (std::int64_t j = 0; j < grid.nn; ++j) {
    for (std::int64_t i = 0; i < grid.ne; ++i, ++value) {
      const std::int64_t k = layer(i, j);
      if (k >= 0) *value = grid(i, j, k);
    }
  }
  return slice;
}

}  // namespace

std::string slice_name(const SlicePlace& place) {
  std::string number = fmt::format("{:.3f}", std::abs(place.metres));
  const bool negative = place.metres < 0.0 && number != "0.000";
  number.erase(number.find_last_not_of('0') + 1);
  if (number.back() == '.') number.pop_back();
  const std::size_t whole = std::min(number.find('.'), number.size());
  if (whole < 4) number.insert(0, 4 - whole, '0');
  return fmt::format("{}_{}{}m", name_of(place.kind), negative ? "-" : "", number);
}

void check_slice_places(const ModelGrid& grid, const Ground& ground,
                        const std::vector<SlicePlace>& places) {
  const double deepest = max_depth(grid, ground);
  for (const SlicePlace& place : places) {
    const bool depth = place.kind == SliceKind::depth;
    const std::vector<double>& nodes = nodes_across(grid, place.kind);
    const double from = depth ? 0.0 : nodes.front();
    const double to = depth ? deepest : nodes.back();
    if (place.metres >= from - kOnFace && place.metres <= to + kOnFace) continue;
    stop_run(
        fmt::format(" ERROR: {} {:.10g} m lies outside the model that is exported, which spans"
                    " {:.10g} to {:.10g} m.",
                    name_of(place.kind), place.metres, from, to));
  }
}

Slice cut_model(const ModelGrid& grid, const Ground& ground, const SlicePlace& place) {
  if (place.kind == SliceKind::depth) {
    return cut_plan(grid, [&](std::int64_t i, std::int64_t j) -> std::int64_t {
      const double elevation = surface_of(grid, ground, i, j) - place.metres;
      if (elevation < grid.elevation_nodes.front() - kOnFace) return -1;
      return cell_at(grid.elevation_nodes, elevation);
    });
  }
  const std::int64_t cell = cell_at(nodes_across(grid, place.kind), place.metres);
  if (place.kind == SliceKind::elevation) {
    return cut_plan(grid, [cell](std::int64_t, std::int64_t) { return cell; });
  }
  const bool along_north = place.kind == SliceKind::easting;
  Slice slice{along_north ? grid.northing_nodes : grid.easting_nodes, grid.elevation_nodes, {}};
  const std::int64_t count = along_north ? grid.nn : grid.ne;
  slice.values = allocate<double>(as_size(count * grid.nz), "cut_model");
  auto value = slice.values.begin();
  for (std::int64_t k = 0; k < grid.nz; ++k) {
    for (std::int64_t c = 0; c < count; ++c) {
      *value++ = along_north ? grid(cell, c, k) : grid(c, cell, k);
    }
  }
  return slice;
}

double raster_cell(const ModelGrid& grid) {
  const auto core_width = [](const std::vector<double>& nodes) {
    std::vector<double> widths;
    for (std::size_t i = 1; i < nodes.size(); ++i) widths.push_back(nodes[i] - nodes[i - 1]);
    return most_frequent_width(std::move(widths));
  };
  const double cell = std::min(core_width(grid.easting_nodes), core_width(grid.northing_nodes));
  const double millimetres = std::round(cell * 1000.0) / 1000.0;
  return std::abs(cell - millimetres) < kRoundWidth ? millimetres : cell;
}

bool is_even(const ModelGrid& grid, double cell) {
  for (const auto* nodes : {&grid.easting_nodes, &grid.northing_nodes}) {
    for (std::size_t i = 1; i < nodes->size(); ++i) {
      if (!is_same_width((*nodes)[i] - (*nodes)[i - 1], cell)) return false;
    }
  }
  return true;
}

Raster raster_of(const Slice& plan, double cell) {
  const auto count = [cell](const std::vector<double>& nodes) {
    return std::max(1.0, std::round((nodes.back() - nodes.front()) / cell));
  };
  const double columns = count(plan.x_nodes);
  const double rows = count(plan.y_nodes);
  if (!(columns * rows <= kMostPoints)) {
    stop_run(
        fmt::format(" ERROR: a slice in cells of {:.6g} m would have {:.0f} x {:.0f} of them, "
                    "more than a\n hundred million; --core leaves the padding out.",
                    cell, columns, rows));
  }
  Raster raster{.columns = static_cast<std::int64_t>(columns),
                .rows = static_cast<std::int64_t>(rows),
                .west = plan.x_nodes.front(),
                .south = plan.y_nodes.front(),
                .cell = cell,
                .values = {}};
  raster.values = allocate<float>(as_size(raster.columns * raster.rows), "raster_of");
  const auto middle = [cell](double first, std::int64_t number) {
    return first + (static_cast<double>(number) + 0.5) * cell;
  };
  std::vector<std::int64_t> column_of;
  for (std::int64_t column = 0; column < raster.columns; ++column) {
    column_of.push_back(cell_at(plan.x_nodes, middle(raster.west, column)));
  }
  auto to = raster.values.begin();
  for (std::int64_t row = raster.rows - 1; row >= 0; --row) {
    const std::int64_t from =
        cell_at(plan.y_nodes, middle(raster.south, row)) * (length(plan.x_nodes) - 1);
    for (const std::int64_t column : column_of) {
      const double value = plan.values[as_size(from + column)];
      *to++ = std::isnan(value) ? Raster::kNoData : static_cast<float>(value);
    }
  }
  return raster;
}

}  // namespace quorivex
