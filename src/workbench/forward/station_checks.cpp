// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/station_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/stop_run.h"
#include "inversion/mesh_io/station_heights.h"
#include "workbench/forward/data_rows.h"

namespace quorivex {
namespace {

constexpr double kMillimetre = 1e-3;  // the rounding of a station on the ground
constexpr double kFarthest = 1e9;     // metres
constexpr std::size_t kListed = 3;    // stations that a sentence names

/// One sentence on the stations of these numbers, counted from 0; none for no station.
void add_sentence(const Observations& o, const std::vector<std::size_t>& stations,
                  const std::string& what, std::vector<std::string>& sentences) {
  if (stations.empty()) return;
  std::string text = fmt::format("{} of {} stations lie {}:", stations.size(), o.ndata, what);
  for (std::size_t n = 0; n < std::min(stations.size(), kListed); ++n) {
    const std::size_t i = stations[n];
    text += fmt::format("{}\ndatum {} at easting {:.2f}, northing {:.2f}, elevation {:.2f} m",
                        n == 0 ? "" : ";", i + 1, o.x[i], o.y[i], o.z[i]);
  }
  if (stations.size() > kListed) text += ";\n...";
  sentences.push_back(std::move(text));
}

}  // namespace

void check_coordinates(const Observations& data) {
  for (std::int32_t i = 1; i <= data.ndata; ++i) {
    const Point at = station_of(data, i);
    const double farthest =
        std::max({std::abs(at.easting), std::abs(at.northing), std::abs(at.elevation)});
    if (farthest <= kFarthest) continue;
    stop_run(fmt::format(
        " ERROR: datum {} lies {:g} m away; coordinates should be metres of a map.", i, farthest));
  }
}

std::vector<std::string> station_warnings(const Observations& o, const Mesh& mesh,
                                          const std::vector<double>& heights) {
  std::vector<std::size_t> outside;
  std::vector<std::size_t> below;
  for (std::size_t i = 0; i < heights.size(); ++i) {
    if (cell_at(mesh.easting_nodes, o.x[i]) == 0 || cell_at(mesh.northing_nodes, o.y[i]) == 0) {
      outside.push_back(i);
    }
    if (heights[i] < -kMillimetre) below.push_back(i);
  }
  std::vector<std::string> sentences;
  add_sentence(o, outside, "outside the mesh", sentences);
  add_sentence(o, below, "below the ground, which is right for boreholes only", sentences);
  return sentences;
}

std::vector<std::string> edge_warnings(const Observations& o, const Ground& ground) {
  PrismScratch scratch(ground.mesh);
  std::vector<std::size_t> on_edge;
  for (std::int32_t i = 1; i <= o.ndata; ++i) {
    if (on_cell_edge(ground, station_of(o, i), scratch)) on_edge.push_back(as_size(i - 1));
  }
  std::vector<std::string> sentences;
  add_sentence(o, on_edge,
               "on an edge or corner of a cell, where the field is infinite; they get the value a\n"
               "thousandth of the smallest cell width next to it. Shift the mesh or the station a "
               "little",
               sentences);
  return sentences;
}

}  // namespace quorivex
