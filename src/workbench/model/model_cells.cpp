// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/model_cells.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

std::vector<double> middles_of(const std::vector<double>& nodes) {
  std::vector<double> middles = allocate<double>(nodes.size() - 1, "qvx model");
  for (std::size_t i = 0; i < middles.size(); ++i) middles[i] = 0.5 * (nodes[i] + nodes[i + 1]);
  return middles;
}

}  // namespace

ModelCells model_cells(SharedGround ground) {
  const Mesh& mesh = ground->mesh;
  check_widths(mesh);
  ModelCells cells{.ground = nullptr,
                   .eastings = middles_of(mesh.easting_nodes),
                   .northings = middles_of(mesh.northing_nodes),
                   .elevations = middles_of(mesh.depth_nodes)};
  for (double& elevation : cells.elevations) elevation = mesh.z0 - elevation;
  for (const std::vector<double>* axis : {&cells.eastings, &cells.northings, &cells.elevations}) {
    if (!std::all_of(axis->begin(), axis->end(), [](double at) { return std::isfinite(at); }))
      stop_run(" ERROR: coordinates of the mesh are not finite.");
  }
  check_not_all_air(*ground);
  cells.ground = std::move(ground);
  return cells;
}

std::string describe_cell(const ModelCells& cells, const GridCell& at) {
  const SpacePoint centre = cells.centre(at);
  return fmt::format(
      "cell k {} i {} j {} (centre easting {:.10g}, northing {:.10g}, elevation {:.10g} m)", at.k,
      at.i, at.j, centre[0], centre[1], centre[2]);
}

std::string describe_cell(const ModelCells& cells, std::int64_t below) {
  const Ground& ground = *cells.ground;
  // The last column that begins before the cell.
  const auto after = std::lower_bound(ground.before.begin(), ground.before.end(), below);
  const GridColumn column = ground.column(after - ground.before.begin());
  return describe_cell(cells, {.cell = 0,
                               .below = below,
                               .k = static_cast<std::int32_t>(below - column.before) + column.top,
                               .i = column.i,
                               .j = column.j});
}

}  // namespace quorivex
