// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/terrain_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {
namespace {

constexpr double kSeveral = 2.0;  // steps of the grid that a mean is taken over
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// The weights of the nodes from `first` on, along an axis.
struct Weights {
  std::int64_t first = 0;
  std::vector<double> of;
};

/// Those of a place between two nodes; beyond the first or the last that of its own.
Weights at(double place, std::int64_t count) {
  const double held = std::clamp(place, 0.0, static_cast<double>(count - 1));
  const auto node = std::min(static_cast<std::int64_t>(held), count - 2);
  const double part = held - static_cast<double>(node);
  return {node, {1.0 - part, part}};
}

/// The integral up to x of the weight of a node at 0: 1 - |x| between its neighbours, and 1 beyond
/// an edge of the grid.
double weight_below(double x, bool first, bool last) {
  if ((first && x < 0.0) || (last && x > 0.0)) return 0.5 + x;
  const double held = std::clamp(x, -1.0, 1.0);
  return held < 0.0 ? 0.5 * (held + 1.0) * (held + 1.0) : 1.0 - 0.5 * (1.0 - held) * (1.0 - held);
}

/// The means of the weights over a length about the place.
Weights over(double place, double wide, std::int64_t count) {
  const double from = place - 0.5 * wide;
  const double to = place + 0.5 * wide;
  const auto node = [&](double x) {
    return static_cast<std::int64_t>(std::clamp(x, 0.0, static_cast<double>(count - 1)));
  };
  Weights weights{node(std::floor(from)), {}};
  for (std::int64_t i = weights.first; i <= node(std::ceil(to)); ++i) {
    const auto x = static_cast<double>(i);
    const auto below = [&](double end) { return weight_below(end - x, i == 0, i == count - 1); };
    weights.of.push_back((below(to) - below(from)) / wide);
  }
  return weights;
}

double sum_over(const TerrainGrid& grid, const Weights& e, const Weights& s) {
  double sum = 0.0;
  double missing = 0.0;
  for (std::size_t down = 0; down < s.of.size(); ++down) {
    const double* const row =
        grid.nodes.data() + (s.first + static_cast<std::int64_t>(down)) * grid.columns;
    for (std::size_t right = 0; right < e.of.size(); ++right) {
      const double weight = e.of[right] * s.of[down];
      // A node without a value must not spoil places on which it has no influence.
      if (!(weight > 0.0)) continue;
      const double value = row[e.first + static_cast<std::int64_t>(right)];
      if (std::isnan(value)) {
        missing += weight;
      } else {
        sum += weight * value;
      }
    }
  }
  if (missing == 0.0) return sum;
  const bool mean = e.of.size() > 2 || s.of.size() > 2;
  return mean && missing < 0.5 ? sum / (1.0 - missing) : kNan;
}

/// Where a place lies, in steps from the first node.
double steps_east(const TerrainGrid& grid, double easting) {
  return (easting - grid.west) / grid.width;
}
double steps_south(const TerrainGrid& grid, double northing) {
  return (grid.north() - northing) / grid.height;
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
  return sum_over(*this, at(steps_east(*this, easting), columns),
                  at(steps_south(*this, northing), rows));
}

double TerrainGrid::mean_elevation(double easting, double northing, double wide,
                                   double high) const {
  const double e = steps_east(*this, easting);
  const double s = steps_south(*this, northing);
  const bool finite = std::isfinite(e + s + wide + high);
  const bool along_row = finite && wide >= kSeveral * width;
  const bool along_column = finite && high >= kSeveral * height;
  return sum_over(*this, along_row ? over(e, wide / width, columns) : at(e, columns),
                  along_column ? over(s, high / height, rows) : at(s, rows));
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
        " places without a value, name it in the file: gdal_translate -a_nodata {:g}.",
        name, value, grid.west + grid.width * static_cast<double>(column),
        grid.north() - grid.height * static_cast<double>(row), row + 1, column + 1,
        why_no_elevation(value), value));
  }
}

}  // namespace quorivex
