// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/station_spacing.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/statistics.h"
#include "base/stop_run.h"
#include "workbench/geometry/kd_tree.h"

namespace quorivex {
namespace {

constexpr std::size_t kSample = 200;    // places that are asked for the next line
constexpr double kSameDirection = 0.8;  // cosine between lines that are about parallel
constexpr double kStraightOn = 0.94;    // and between steps along a line
constexpr double kCloserAlong = 2.0;    // lines are so many times farther apart than stations

/// From one place to another.
struct Step {
  double east = 0.0;
  double north = 0.0;

  double length() const { return std::hypot(east, north); }
  /// Negative backward.
  double along(const Step& direction) const {
    return (east * direction.east + north * direction.north) / direction.length();
  }
  double across(const Step& direction) const {
    return std::abs(east * direction.north - north * direction.east) / direction.length();
  }
};

Step step(const MapPoint& from, const MapPoint& to) { return {to[0] - from[0], to[1] - from[1]}; }

/// From each place to the nearest other one.
std::vector<Step> steps_to_nearest(const KdTree2& tree) {
  std::vector<Step> steps = allocate<Step>(tree.size(), "station_spacing");
  for (std::size_t i = 0; i < steps.size(); ++i) {
    steps[i] = step(tree.place(i), tree.place(tree.nearest_other(i)));
  }
  return steps;
}

/// Whether the way to the nearest other place goes on backward, to one at most twice as far away.
bool on_line(const KdTree2& tree, const std::vector<Step>& steps, std::size_t place) {
  const Step& line = steps[place];
  const auto behind = [&](std::size_t other) {
    const Step there = step(tree.place(place), tree.place(other));
    return -there.along(line) > kStraightOn * there.length();
  };
  const std::size_t found = tree.nearest_accepted(tree.place(place), behind);
  return found < tree.size() &&
         step(tree.place(place), tree.place(found)).length() <= 2.0 * line.length();
}

/// Distance from a place's line to the next one; nothing where there is none.
std::optional<double> to_next_line(const KdTree2& tree, const std::vector<Step>& steps,
                                   std::size_t place) {
  const Step& line = steps[place];
  const auto on_next_line = [&](std::size_t other) {
    const Step there = step(tree.place(place), tree.place(other));
    return std::abs(there.along(line)) < there.across(line) &&
           std::abs(steps[other].along(line)) > kSameDirection * steps[other].length();
  };
  const std::size_t found = tree.nearest_accepted(tree.place(place), on_next_line);
  if (found == tree.size()) return {};
  return step(tree.place(place), tree.place(found)).length();
}

std::optional<double> between_lines(const KdTree2& tree, const std::vector<Step>& steps) {
  const std::size_t asked = std::min(tree.size(), kSample);
  std::vector<double> distances;
  for (std::size_t n = 0; n < asked; ++n) {
    const std::size_t place = n * tree.size() / asked;
    if (!on_line(tree, steps, place)) continue;
    if (const auto distance = to_next_line(tree, steps, place)) distances.push_back(*distance);
  }
  if (2 * distances.size() < asked) return {};
  return median(distances);
}

}  // namespace

StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y) {
  const KdTree2 tree(x, y);
  StationSpacing found{
      .places = static_cast<std::int64_t>(tree.size()), .median = 0.0, .lines = {}};
  if (tree.size() < 2) return found;
  const std::vector<Step> steps = steps_to_nearest(tree);
  std::vector<double> distances = allocate<double>(steps.size(), "station_spacing");
  std::transform(steps.begin(), steps.end(), distances.begin(),
                 [](const Step& to_nearest) { return to_nearest.length(); });
  found.median = median(std::move(distances));
  found.lines = between_lines(tree, steps);
  if (found.lines && *found.lines < kCloserAlong * found.median) found.lines.reset();
  return found;
}

}  // namespace quorivex
