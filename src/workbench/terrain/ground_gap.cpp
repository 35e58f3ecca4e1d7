// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/ground_gap.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/statistics.h"
#include "inversion/mesh_io/station_heights.h"
#include "workbench/geometry/map_box.h"

namespace quorivex {
namespace {

constexpr double kMillimetre = 1e-3;

/// Cells `first` to `last` along an axis, from 1; empty where `last` is less than `first`.
struct CellRange {
  std::int32_t first = 1;
  std::int32_t last = 0;
};

CellRange cells_between(const std::vector<double>& nodes, double min, double max) {
  if (max < nodes.front() || min > nodes.back()) return {};
  return {cell_at(nodes, std::max(min, nodes.front())),
          cell_at(nodes, std::min(max, nodes.back()))};
}

/// Visits the columns below the stations' rectangle: visit(j, i), both from 1.
template <class Visit>
void for_each_column_below(const Mesh& mesh, const Observations& stations, Visit visit) {
  const MapBox box = box_of(stations.x, stations.y);
  const CellRange rows = cells_between(mesh.northing_nodes, box.south, box.north);
  const CellRange columns = cells_between(mesh.easting_nodes, box.west, box.east);
  for (std::int32_t j = rows.first; j <= rows.last; ++j) {
    for (std::int32_t i = columns.first; i <= columns.last; ++i) visit(j, i);
  }
}

double centre(const std::vector<double>& nodes, std::int32_t cell) {
  return 0.5 * (nodes[as_size(cell - 1)] + nodes[as_size(cell)]);
}

double width_of(const std::vector<double>& nodes, std::int32_t cell) {
  return nodes[as_size(cell)] - nodes[as_size(cell - 1)];
}

/// To a metre, and to a tenth of one below 10 m.
std::string rounded(double metres) {
  const double unit = std::abs(metres) < 10.0 ? 10.0 : 1.0;
  return fmt::format("{}", std::round(metres * unit) / unit + 0.0);  // no -0
}

}  // namespace

std::vector<double> terrain_of_columns(const Terrain& terrain, const Mesh& mesh,
                                       const Observations& stations) {
  std::vector<double> elevations;
  for_each_column_below(mesh, stations, [&](std::int32_t j, std::int32_t i) {
    elevations.push_back(
        mean_elevation(terrain, centre(mesh.easting_nodes, i), centre(mesh.northing_nodes, j),
                       width_of(mesh.easting_nodes, i), width_of(mesh.northing_nodes, j)));
  });
  return elevations;
}

std::optional<GroundGap> ground_gap(const Terrain& terrain, const Ground& ground,
                                    const Observations& stations,
                                    const std::vector<double>& heights) {
  std::vector<double> above_cells = heights_above_cells(stations, ground);
  std::erase_if(above_cells, [](double height) { return std::isnan(height); });
  if (above_cells.empty()) return std::nullopt;
  std::vector<double> gaps = terrain_of_columns(terrain, ground.mesh, stations);
  auto gap = gaps.begin();
  for_each_column_below(ground.mesh, stations,
                        [&](std::int32_t j, std::int32_t i) { *gap++ -= ground.surface(j, i); });
  std::sort(gaps.begin(), gaps.end());
  return GroundGap{
      .median = median(gaps),
      .p95 = gaps[static_cast<std::size_t>(0.95 * static_cast<double>(gaps.size() - 1))],
      .height = median(heights),
      .height_above_cells = median(std::move(above_cells))};
}

std::string describe_gap(const GroundGap& gap, std::string_view line_end) {
  return fmt::format(
      "{} m below the terrain (median), {} m (95th percentile);{}stations {} m above it instead of "
      "{} m",
      rounded(gap.median), rounded(gap.p95), line_end, rounded(gap.height_above_cells),
      rounded(gap.height));
}

void warn_of_gap(const GroundGap& gap, const Warn& warn) {
  const bool in_boreholes = gap.height < -kMillimetre;
  if (in_boreholes || !(gap.median > gap.height / 3.0 + kMillimetre)) return;
  warn(fmt::format(
      "the cells' ground lies {}.\n"
      "The model lacks the rock between and makes up for it with stronger or higher sources. Make\n"
      "layers thinner down to the lowest terrain of the survey (qvx mesh does with --topography "
      "and\n"
      "--first-layer), and cells narrower on steep ground",
      describe_gap(gap, "\n")));
}

}  // namespace quorivex
