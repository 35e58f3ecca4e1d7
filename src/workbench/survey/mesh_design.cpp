// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/mesh_design.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "base/statistics.h"
#include "base/stop_run.h"
#include "workbench/terrain/ground_gap.h"
#include "workbench/terrain/terrain_tops.h"

namespace quorivex {
namespace {

constexpr double kFarthest = 1e9;      // a coordinate in metres, so that millimetres stay exact
constexpr double kMinCell = 0.01;      // taken from the spacing; less are degrees, not metres
constexpr double kTolerance = 0.0005;  // half a millimetre: rounding of sums of widths
constexpr std::size_t kMaxOnAxis = 1'000'000;
constexpr double kMinAlong = 20.0;  // core cells along the survey, where few lines are far apart
constexpr double kLayerGrowth = 1.1;
constexpr double kThinLayerGrowth = 1.25;  // thin layers serve the ground, not the resolution

double to_millimetre(double metres) { return std::round(metres * 1000.0) / 1000.0; }

[[noreturn]] void too_many_cells() {
  stop_run(
      " ERROR: the mesh would have more than 1000000 cells along an axis. Give wider cells with\n"
      " --cell, thicker layers with --first-layer, more growth, or less --padding or --depth.");
}

Interval extent_of(const std::vector<double>& values, const char* what) {
  const auto [min, max] = std::minmax_element(values.begin(), values.end());
  if (*min < -kFarthest || *max > kFarthest) {
    stop_run(fmt::format(" ERROR: {}s of the stations lie from {} to {}; they should be metres.",
                         what, *min, *max));
  }
  return {*min, *max};
}

/// Sets the width of the core cells from the stations.
void choose_cell(const SurveyShape& shape, std::optional<double> clearance, MeshPlan& plan) {
  const StationSpacing& stations = shape.stations;
  if (stations.median == 0.0) {
    stop_run(
        " ERROR: all stations stand at one place, so the width of the core cells cannot be taken\n"
        " from their spacing. Give it in metres with --cell.");
  }
  if (0.5 * stations.median < kMinCell) {
    stop_run(
        fmt::format(" ERROR: the stations stand {:.2g} apart. Coordinates should be metres, not "
                    "degrees.\n If these are metres, give the width of the core cells with --cell.",
                    stations.median));
  }
  double width = 0.5 * stations.median;
  plan.cell_from = CellFrom::stations;
  const auto raise = [&](double to, CellFrom from) {
    if (to <= width) return;
    width = to;
    plan.cell_from = from;
  };
  if (stations.lines) {
    const double along = shape.longer() / kMinAlong;
    const double across = 0.25 * *stations.lines;
    across <= along ? raise(across, CellFrom::lines) : raise(along, CellFrom::extent);
  }
  if (clearance) raise(0.5 * *clearance, CellFrom::clearance);
  plan.cell = round_width(width);
}

/// Below the lowest station by 0.5 to 1.5 times the largest power of ten not above `layer`.
double top_below(double lowest_station, double layer) {
  const double unit = std::max(std::pow(10.0, std::floor(std::log10(layer))), 0.001);
  return to_millimetre(std::floor(lowest_station / unit - 0.5) * unit);
}

struct Axis {
  double first = 0.0;
  std::vector<double> widths;
};

Axis horizontal_axis(const Interval& stations, const MeshPlan& plan) {
  const double first = std::floor(stations.min / plan.cell - 0.5);
  const double cells = std::ceil(stations.max / plan.cell + 0.5) - first;
  if (cells > static_cast<double>(kMaxOnAxis)) too_many_cells();
  const std::vector<double> padding = growing_widths(plan.cell, plan.growth, plan.padding);
  const double padded = std::accumulate(padding.begin(), padding.end(), 0.0);
  Axis axis{to_millimetre(first * plan.cell - padded), {padding.rbegin(), padding.rend()}};
  axis.widths.insert(axis.widths.end(), static_cast<std::size_t>(cells), plan.cell);
  axis.widths.insert(axis.widths.end(), padding.begin(), padding.end());
  return axis;
}

/// Thickest first: layers that grow upward from the relief and end at the top or below it.
std::vector<double> layers_above_relief(const MeshPlan& plan) {
  std::vector<double> thicknesses =
      growing_widths(plan.first_layer, plan.layer_growth, plan.relief.min);
  const double covered = std::accumulate(thicknesses.begin(), thicknesses.end(), 0.0);
  if (covered > plan.relief.min + kTolerance) thicknesses.pop_back();
  std::reverse(thicknesses.begin(), thicknesses.end());
  return thicknesses;
}

std::vector<double> layers(const MeshPlan& plan) {
  std::vector<double> thicknesses = layers_above_relief(plan);
  double covered = std::accumulate(thicknesses.begin(), thicknesses.end(), 0.0);
  do {
    if (thicknesses.size() == kMaxOnAxis) too_many_cells();
    thicknesses.push_back(plan.first_layer);
    covered += plan.first_layer;
  } while (covered < plan.relief.max - kTolerance);
  const std::vector<double> more =
      growing_widths(plan.first_layer, plan.layer_growth, plan.depth - covered);
  thicknesses.insert(thicknesses.end(), more.begin(), more.end());
  for (std::int32_t i = 0; i < plan.bottom_layers; ++i) {
    const std::vector<double> next = growing_widths(thicknesses.back(), plan.growth, 0.001);
    thicknesses.push_back(next.front());
  }
  return thicknesses;
}

}  // namespace

SurveyShape survey_shape(const Observations& stations) {
  return {.easting = extent_of(stations.x, "easting"),
          .northing = extent_of(stations.y, "northing"),
          .elevation = extent_of(stations.z, "elevation"),
          .stations = station_spacing(stations.x, stations.y)};
}

SurveyTerrain survey_terrain(const Terrain& terrain, const Mesh& mesh, const Observations& stations,
                             const std::vector<double>& heights) {
  const TerrainTops on_mesh = column_tops_of_terrain(mesh, terrain);
  std::vector<double> below = terrain_of_columns(terrain, mesh, stations);
  for (std::size_t i = 0; i < heights.size(); ++i) below.push_back(stations.z[i] - heights[i]);
  const auto [min, max] = std::minmax_element(below.begin(), below.end());
  return {.mesh = {on_mesh.min, on_mesh.max}, .survey = {*min, *max}, .clearance = median(heights)};
}

MeshPlan plan_mesh(const SurveyShape& shape, const MeshWishes& wishes,
                   std::optional<double> clearance) {
  MeshPlan plan{.growth = wishes.growth,
                .layer_growth = wishes.layer_growth.value_or(kLayerGrowth),
                .bottom_layers = wishes.bottom_layers};
  if (wishes.cell) {
    plan.cell = to_millimetre(*wishes.cell);
  } else {
    choose_cell(shape, clearance, plan);
  }
  plan.padding = wishes.padding.value_or(std::max(shape.longer(), 10.0 * plan.cell));
  plan.first_layer = to_millimetre(wishes.first_layer.value_or(round_width(0.5 * plan.cell)));
  plan.top =
      wishes.top ? to_millimetre(*wishes.top) : top_below(shape.elevation.min, plan.first_layer);
  plan.depth = wishes.depth.value_or(
      std::max({0.5 * shape.shorter(), 0.25 * shape.longer(), 5.0 * plan.cell}));
  return plan;
}

MeshPlan plan_under_terrain(MeshPlan plan, const MeshWishes& wishes, const SurveyTerrain& terrain) {
  if (!wishes.top) {
    plan.top = to_millimetre(terrain.mesh.max);
    if (plan.top < terrain.mesh.max - 1e-6) plan.top = to_millimetre(plan.top + 0.001);
  }
  plan.relief = {std::max(plan.top - terrain.survey.max, 0.0),
                 std::max(plan.top - terrain.survey.min, 0.0)};
  // Level ground at the mesh top is met exactly, whatever the layers.
  if (!wishes.first_layer && plan.relief.max > 0.001) {
    const double thin = std::clamp(0.25 * terrain.clearance, 0.1 * plan.cell, 0.5 * plan.cell);
    plan.first_layer = round_width(thin);
    if (thin < 0.5 * plan.cell) plan.layer_growth = wishes.layer_growth.value_or(kThinLayerGrowth);
  }
  if (!wishes.depth) plan.depth += std::max(plan.top - terrain.mesh.min, 0.0);
  return plan;
}

Mesh design_mesh(const SurveyShape& shape, const MeshPlan& plan) {
  Axis easting = horizontal_axis(shape.easting, plan);
  Axis northing = horizontal_axis(shape.northing, plan);
  std::vector<double> depth = layers(plan);
  const auto count = [](const std::vector<double>& widths) {
    return static_cast<std::int32_t>(widths.size());
  };
  if (!valid_counts(count(easting.widths), count(northing.widths), count(depth))) {
    stop_run(
        fmt::format(" ERROR: a mesh of {} x {} x {} cells is too large; 2147483647 is the limit.\n"
                    " Give wider cells with --cell, thicker layers with --first-layer, or more "
                    "growth.",
                    easting.widths.size(), northing.widths.size(), depth.size()));
  }
  return make_mesh(easting.first, northing.first, plan.top, std::move(easting.widths),
                   std::move(northing.widths), std::move(depth));
}

double round_width(double metres) {
  const double unit = std::max(std::pow(10.0, std::floor(std::log10(metres))) / 20.0, 0.001);
  return to_millimetre(std::round(metres / unit) * unit);
}

std::vector<double> growing_widths(double width, double growth, double distance) {
  std::vector<double> widths;
  double exact = width;
  double covered = 0.0;
  while (covered < distance - kTolerance) {
    if (widths.size() == kMaxOnAxis) too_many_cells();
    exact *= growth;
    if (growth > 1.0) width = std::max(width, round_width(exact));
    widths.push_back(width);
    covered += width;
  }
  return widths;
}

}  // namespace quorivex
