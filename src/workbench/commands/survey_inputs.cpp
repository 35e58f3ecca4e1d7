// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/survey_inputs.h"

#include <fmt/format.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <vector>

#include "base/stop_run.h"
#include "workbench/check/survey_checks.h"
#include "workbench/commands/options.h"
#include "workbench/forward/data_rows.h"
#include "workbench/terrain/read_topography.h"
#include "workbench/terrain/triangulation.h"

namespace quorivex {
namespace {

using Elevation = std::function<double(double easting, double northing)>;

constexpr std::size_t kNamed = 3;  // stations that a warning names
constexpr int kMaxThreads = 999;

void warn(const Observations& data, const std::vector<std::int32_t>& stations,
          const std::string& what) {
  if (stations.empty()) return;
  fmt::print(stderr, "Warning: {} of {} stations {}:\n", stations.size(), data.ndata, what);
  for (std::size_t n = 0; n < std::min(stations.size(), kNamed); ++n) {
    const Point at = station_of(data, stations[n]);
    fmt::print(stderr, "  datum {}: easting {:.2f}, northing {:.2f}, elevation {:.2f}\n",
               stations[n], at.easting, at.northing, at.elevation);
  }
  if (stations.size() > kNamed) fmt::print(stderr, "  ...\n");
}

/// Places that are none would spoil the kernel's numbers.
void check_places(const Observations& data) {
  for (std::int32_t i = 1; i <= data.ndata; ++i) {
    const Point at = station_of(data, i);
    const double farthest =
        std::max({std::abs(at.easting), std::abs(at.northing), std::abs(at.elevation)});
    if (farthest <= kMaxLength) continue;
    stop_run(fmt::format(
        " ERROR: datum {} lies {:g} m away; coordinates should be metres of a map.", i, farthest));
  }
}

void check_stations(const Observations& data, const Ground& ground,
                    const std::vector<double>& heights) {
  const Mesh& m = ground.mesh;
  PrismScratch scratch(m);
  std::vector<std::int32_t> below;
  std::vector<std::int32_t> beside;
  std::vector<std::int32_t> on_edge;
  for (std::int32_t i = 1; i <= data.ndata; ++i) {
    const Point at = station_of(data, i);
    if (heights[as_size(i - 1)] < 0.0) below.push_back(i);
    if (at.easting < m.easting_nodes.front() || at.easting > m.easting_nodes.back() ||
        at.northing < m.northing_nodes.front() || at.northing > m.northing_nodes.back()) {
      beside.push_back(i);
    }
    if (on_cell_edge(ground, at, scratch)) on_edge.push_back(i);
  }
  warn(data, below, "lie below the ground (right for boreholes only)");
  warn(data, beside, "lie outside the mesh");
  warn(data, on_edge,
       "lie on an edge or corner of a cell, where the field is infinite; they get the value a\n"
       "thousandth of the smallest cell width beside it. Shift the mesh or the station a little");
}

}  // namespace

void add_terrain_options(CLI::App& command, GroundSource& source) {
  auto* const terrain = command
                            .add_option("--topography", source.topography,
                                        "Topography file: the number of points, then easting,\n"
                                        "northing, elevation (m) of each. Without it and without\n"
                                        "--elevation the top of the mesh is the ground")
                            ->type_name("FILE");
  command.add_option("--elevation", source.elevation, "Elevation of a level ground")
      ->type_name("Z")
      ->check(number(-kMaxLength, kMaxLength))
      ->excludes(terrain);
}

void add_thread_option(CLI::App& command) {
  command
      .add_option_function<int>(
          "--threads", [](int threads) { omp_set_num_threads(threads); },
          "Number of threads; all cores without it")
      ->type_name("N")
      ->check(CLI::Range(1, kMaxThreads).description(""));
}

SurveyGround read_ground(const GroundSource& source, const Observations& observations) {
  Mesh mesh = read_mesh_file(source.mesh);
  check_widths(mesh);
  std::optional<Surface> surface;
  if (!source.topography.empty()) {
    const SurfacePoints points = read_surface_points(source.topography, mesh);
    for (const std::string& warning : points.warnings) fmt::print(stderr, "Warning: {}\n", warning);
    surface.emplace(points);
  }
  const Elevation elevation = [&](double easting, double northing) {
    return surface ? surface->elevation(easting, northing) : source.elevation.value_or(mesh.z0);
  };
  check_places(observations);
  std::vector<double> heights;
  for (std::int32_t i = 1; i <= observations.ndata; ++i) {
    const Point at = station_of(observations, i);
    heights.push_back(at.elevation - elevation(at.easting, at.northing));
  }
  ColumnTops tops = column_tops(mesh, elevation);
  SurveyGround survey{make_ground(std::move(mesh), std::move(tops))};
  check_not_all_air(survey.ground);
  check_stations(observations, survey.ground, heights);
  const auto middle = heights.begin() + length(heights) / 2;
  std::nth_element(heights.begin(), middle, heights.end());
  survey.median_height = *middle;
  return survey;
}

Observations read_data_with_deviations(const std::string& name,
                                       std::optional<std::int32_t> ndata_expected) {
  Observations data = read_data_file(name, DataColumns::as_found, ndata_expected);
  if (data.std.empty()) {
    stop_run(fmt::format(
        " ERROR: {} holds no standard deviations, and each row of the matrix is divided by one.\n"
        " Each line of a datum should hold easting, northing, elevation (m), {}value and\n"
        " standard deviation (nT).",
        name, data.idir == 1 ? "" : "inclination, declination, "));
  }
  return data;
}

void hint_at_units(const Observations& observations) {
  for (const std::string& hint : unit_hints(observations)) fmt::print(stderr, "Hint: {}\n", hint);
}

void refuse_overwriting(const std::string& output, std::initializer_list<std::string> inputs) {
  for (const std::string& input : inputs) {
    for (const std::string& written : {output, output + ".part"}) {
      std::error_code missing;
      if (std::filesystem::equivalent(input, written, missing)) {
        stop_run(fmt::format(" ERROR: the output {} would replace a file that is read.", output));
      }
    }
  }
}

}  // namespace quorivex
