// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/weights.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "base/stop_run.h"
#include "workbench/geometry/segment_tree.h"
#include "workbench/model/model_values.h"
#include "workbench/model/operation_keys.h"

namespace quorivex {
namespace {

/// (d + offset)^-exponent over its largest value, for the distances d of the ground cells.
template <class Distance>
Selection select_decay(const Operation& operation, const ModelSources& sources, Distance distance) {
  const double exponent = needed_number(operation, "exponent", {0.0, 10.0});
  const double offset = needed_number(operation, "offset", {0.0, kMaxPlace});
  std::vector<double> distances =
      allocate<double>(as_size(sources.cells.ground->cells()), "qvx model");
  for_each_ground_cell(*sources.cells.ground, [&](const GridCell& at) {
    distances[as_size(at.below - 1)] = distance(at) + offset;
  });
  const double least = *std::min_element(distances.begin(), distances.end());
  if (!(least > 0.0)) {
    refuse(operation, "offset= should be greater than 0: a datum lies at the centre of a cell");
  }
  return select_with_values(sources.cells, [&](const GridCell& at) {
    return std::pow(distances[as_size(at.below - 1)] / least, -exponent);
  });
}

}  // namespace

Selection select_depth_weight(const Operation& operation, const ModelSources& sources) {
  return select_decay(operation, sources,
                      [&](const GridCell& at) { return sources.cells.depth(at); });
}

Selection select_distance_weight(const Operation& operation, const ModelSources& sources) {
  if (!sources.data) refuse(operation, "distance_weight needs the stations: give --data OBS");
  const Observations& data = *sources.data;
  std::vector<Segment> stations = allocate<Segment>(data.x.size(), "qvx model");
  for (std::size_t n = 0; n < stations.size(); ++n) {
    stations[n].from = stations[n].to = {data.x[n], data.y[n], data.z[n]};
  }
  if (stations.empty()) refuse(operation, "distance_weight needs stations, and --data has none");
  const SegmentTree tree(stations);
  return select_decay(operation, sources, [&](const GridCell& at) {
    const SpacePoint centre = sources.cells.centre(at);
    const std::size_t nearest = tree.nearest(centre, std::numeric_limits<double>::infinity());
    return std::sqrt(square_distance(centre, stations[nearest]));
  });
}

Selection select_edges(const Operation& operation, const ModelSources& sources) {
  const double jump = needed_number(operation, "jump", {0.0, kMaxPlace});
  const auto values = std::make_shared<const std::vector<double>>(
      read_model_values(operation, needed_text(operation, "model"), *sources.cells.ground));
  Selection selection = select_cells(sources.cells, [](const GridCell&) { return true; });
  selection.face = [values, jump](std::int64_t first, std::int64_t second) {
    return std::abs((*values)[as_size(first - 1)] - (*values)[as_size(second - 1)]) > jump;
  };
  return selection;
}

}  // namespace quorivex
