// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/mesh_design.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr double kFarthest = 1e9;      // a coordinate in metres, so that millimetres stay exact
constexpr double kMinCell = 0.01;      // taken from the spacing; less are degrees, not metres
constexpr double kTolerance = 0.0005;  // half a millimetre: rounding of sums of widths
constexpr std::size_t kMaxOnAxis = 1'000'000;

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

double cell_of_spacing(double spacing) {
  if (spacing == 0.0) {
    stop_run(
        " ERROR: all stations stand at one place, so the width of the core cells cannot be taken\n"
        " from their spacing. Give it in metres with --cell.");
  }
  if (0.5 * spacing < kMinCell) {
    stop_run(
        fmt::format(" ERROR: the stations stand {:.2g} apart. Coordinates should be metres, not "
                    "degrees.\n If these are metres, give the width of the core cells with --cell.",
                    spacing));
  }
  return round_width(0.5 * spacing);
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

std::vector<double> layers(const MeshPlan& plan) {
  std::vector<double> thicknesses{plan.first_layer};
  const std::vector<double> more =
      growing_widths(plan.first_layer, plan.layer_growth, plan.depth - plan.first_layer);
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

std::optional<double> line_spacing(const SurveyShape& shape) {
  // n places at distance d fill lines of length n d in all; k lines bound k - 1 strips.
  const double spacing = shape.stations.median;
  const double length_of_lines = static_cast<double>(shape.stations.places) * spacing;
  const double lines = length_of_lines / shape.longer();
  if (!(lines >= 1.8)) return {};  // a single line askew fills up to 1.41 times the longer side
  const double between = shape.shorter() / (lines - 1.0);
  return between >= 2.0 * spacing ? std::optional(between) : std::nullopt;
}

MeshPlan plan_mesh(const SurveyShape& shape, const MeshWishes& wishes) {
  MeshPlan plan{.growth = wishes.growth,
                .layer_growth = wishes.layer_growth,
                .bottom_layers = wishes.bottom_layers};
  plan.cell = wishes.cell ? to_millimetre(*wishes.cell) : cell_of_spacing(shape.stations.median);
  plan.padding = wishes.padding.value_or(std::max(shape.longer(), 10.0 * plan.cell));
  plan.first_layer = to_millimetre(wishes.first_layer.value_or(round_width(0.5 * plan.cell)));
  plan.top =
      wishes.top ? to_millimetre(*wishes.top) : top_below(shape.elevation.min, plan.first_layer);
  plan.depth = wishes.depth.value_or(
      std::max({0.5 * shape.shorter(), 0.25 * shape.longer(), 5.0 * plan.cell}));
  return plan;
}

MeshPlan plan_under_terrain(MeshPlan plan, const MeshWishes& wishes, const Interval& terrain) {
  if (!wishes.top) {
    plan.top = to_millimetre(terrain.max);
    if (plan.top < terrain.max - 1e-6) plan.top = to_millimetre(plan.top + 0.001);
  }
  if (!wishes.depth) plan.depth += std::max(plan.top - terrain.min, 0.0);
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
