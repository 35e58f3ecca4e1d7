// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/limits.h"

#include <algorithm>

#include "workbench/model/operation_keys.h"

namespace quorivex {
namespace {

bool within(const KeyRange& range, double at) {
  return at >= range.min - kOnBoundary && at <= range.max + kOnBoundary;
}

}  // namespace

const std::vector<std::string>& limit_keys() {
  static const std::vector<std::string> kKeys{"easting", "northing", "elevation", "depth"};
  return kKeys;
}

void apply_limits(const Operation& operation, const ModelCells& cells, Selection& selection) {
  std::array<KeyRange, 4> ranges;  // in the order of the keys
  bool any = false;
  for (std::size_t n = 0; n < ranges.size(); ++n) {
    const std::optional<KeyRange> range = find_range(operation, limit_keys()[n]);
    if (range) ranges[n] = *range;
    any = any || range.has_value();
  }
  if (!any) return;
  for_each_ground_cell(*cells.ground, [&](const GridCell& at) {
    const SpacePoint centre = cells.centre(at);
    const bool inside = within(ranges[0], centre[0]) && within(ranges[1], centre[1]) &&
                        within(ranges[2], centre[2]) && within(ranges[3], cells.depth(at));
    if (!inside) selection.entries[as_size(at.below - 1)] = 0;
  });
}

Selection select_box(const Operation& operation, const ModelSources& sources) {
  const bool any = std::any_of(limit_keys().begin(), limit_keys().end(), [&](const auto& key) {
    return find_setting(operation, key) != nullptr;
  });
  if (!any) {
    refuse(operation,
           "box needs easting=, northing=, elevation= or depth=, a range MIN:MAX in metres");
  }
  return select_all(operation, sources);
}

Selection select_all(const Operation& /*operation*/, const ModelSources& sources) {
  return select_cells(sources.cells, [](const GridCell&) { return true; });
}

}  // namespace quorivex
