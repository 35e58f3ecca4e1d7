// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/terrain_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {
namespace {

/// The node before a place among `count` nodes, and how far the place lies towards the next one.
struct Between {
  std::int64_t node;
  double part;
};

Between between(double steps, std::int64_t count) {
  const double held = std::clamp(steps, 0.0, static_cast<double>(count - 1));
  const auto node = std::min(static_cast<std::int64_t>(held), count - 2);
  return {node, held - static_cast<double>(node)};
}

constexpr double kLowest = -12000.0;  // metres: elevations of the solid Earth lie between these
constexpr double kHighest = 9000.0;
constexpr double kUsualMark = -9999.0;  // of places without a value; the others are out of range

}  // namespace

bool is_elevation(double elevation) {
  return elevation >= kLowest && elevation <= kHighest && elevation != kUsualMark;
}

std::string why_no_elevation(double elevation) {
  if (elevation == kUsualMark) {
    return "that usually marks places without a value (for terrain that does lie there write\n"
           " decimals, such as -9998.99)";
  }
  return fmt::format("it should be from {:g} to {:g} m", kLowest, kHighest);
}

double TerrainGrid::elevation(double easting, double northing) const {
  const Between e = between((easting - west) / width, columns);
  const Between s = between((north() - northing) / height, rows);
  double sum = 0.0;
  for (const std::int64_t down : {0, 1}) {
    for (const std::int64_t right : {0, 1}) {
      const double weight =
          (right == 1 ? e.part : 1.0 - e.part) * (down == 1 ? s.part : 1.0 - s.part);
      // A node without a value must not spoil places on which it has no influence.
      if (weight > 0.0) sum += weight * nodes[as_size((s.node + down) * columns + e.node + right)];
    }
  }
  return sum;
}

void check_elevations(const TerrainGrid& grid, const std::string& name) {
  for (std::int64_t i = 0; i < length(grid.nodes); ++i) {
    const double value = grid.nodes[as_size(i)];
    if (std::isnan(value) || is_elevation(value)) continue;
    const std::int64_t row = i / grid.columns;
    const std::int64_t column = i % grid.columns;
    stop_run(fmt::format(
        " ERROR: terrain grid {} has an elevation of {:g} m at {:.10g} E {:.10g} N (row {} from\n"
        " the north, column {} from the west);\n {}. Where this marks\n"
        " places without a value, name it in the file: NODATA_value or _FillValue.",
        name, value, grid.west + grid.width * static_cast<double>(column),
        grid.north() - grid.height * static_cast<double>(row), row + 1, column + 1,
        why_no_elevation(value)));
  }
}

}  // namespace quorivex
