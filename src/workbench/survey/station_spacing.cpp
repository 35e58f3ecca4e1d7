// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/station_spacing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/statistics.h"
#include "base/stop_run.h"
#include "workbench/geometry/kd_tree.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "station_spacing";
constexpr std::size_t kSample = 200;    // places that are asked for the next line
constexpr double kReach = 1.9;          // of the stations around one, in median distances
constexpr double kMaxReach = 16.0;      // likewise, after doubling
constexpr double kThin = 0.05;          // variance of stations across their line to that along
constexpr double kSameDirection = 0.8;  // cosine between lines that are about parallel
constexpr double kCloserAlong = 2.0;    // lines are so many times farther apart than stations

/// A direction on the map, of length 1, or 0 where there is none.
struct Direction {
  double east = 0.0;
  double north = 0.0;

  bool known() const { return east != 0.0 || north != 0.0; }
};

/// The principal axis of places whose covariance is thin; where it is not, none.
Direction axis_of(double ee, double nn, double en) {
  const double half = 0.5 * std::hypot(ee - nn, 2.0 * en);
  const double along = 0.5 * (ee + nn) + half;
  const double across = 0.5 * (ee + nn) - half;
  if (!(along > 0.0) || across > kThin * along) return {};
  const double angle = 0.5 * std::atan2(2.0 * en, ee - nn);
  return {std::cos(angle), std::sin(angle)};
}

/// The lines of a survey, from places in any order.
class Lines {
 public:
  Lines(const KdTree2& tree, double spacing)
      : tree_(tree),
        spacing_(spacing),
        directions_(allocate<Direction>(tree.size(), kRoutine)),
        asked_(allocate<std::uint8_t>(tree.size(), kRoutine)) {}

  /// Of the line through a place.
  const Direction& direction(std::size_t place) {
    if (!asked_[place]) {
      asked_[place] = 1;
      double reach = kReach;
      for (; reach < kMaxReach && !directions_[place].known(); reach *= 2.0) {
        directions_[place] = direction_within(tree_.place(place), reach * spacing_);
      }
    }
    return directions_[place];
  }

  /// Distance from a place on a line to the next line; nothing where there is none.
  std::optional<double> to_next(std::size_t place) {
    const Direction line = direction(place);
    const MapPoint& from = tree_.place(place);
    const auto on_next_line = [&](std::size_t other) {
      const double east = tree_.place(other)[0] - from[0];
      const double north = tree_.place(other)[1] - from[1];
      const double along = std::abs(east * line.east + north * line.north);
      const double across = std::abs(east * line.north - north * line.east);
      if (along >= across) return false;
      const Direction there = direction(other);
      return std::abs(there.east * line.east + there.north * line.north) > kSameDirection;
    };
    const std::size_t found =
        tree_.nearest_accepted(from, std::numeric_limits<double>::infinity(), on_next_line);
    if (found == tree_.size()) return std::nullopt;
    return std::hypot(tree_.place(found)[0] - from[0], tree_.place(found)[1] - from[1]);
  }

 private:
  Direction direction_within(const MapPoint& from, double reach) const {
    double n = 0.0, e = 0.0, s = 0.0, ee = 0.0, nn = 0.0, en = 0.0;
    tree_.nearest_accepted(from, reach, [&](std::size_t other) {
      const double east = tree_.place(other)[0] - from[0];
      const double north = tree_.place(other)[1] - from[1];
      n += 1.0;
      e += east;
      s += north;
      ee += east * east;
      nn += north * north;
      en += east * north;
      return false;  // so that all are asked
    });
    if (n < 3.0) return {};
    return axis_of(ee / n - e * e / (n * n), nn / n - s * s / (n * n), en / n - e * s / (n * n));
  }

  const KdTree2& tree_;
  double spacing_;
  std::vector<Direction> directions_;
  std::vector<std::uint8_t> asked_;
};

std::optional<double> between_lines(const KdTree2& tree, double spacing) {
  Lines lines(tree, spacing);
  const std::size_t asked = std::min(tree.size(), kSample);
  std::vector<std::size_t> on_line;
  for (std::size_t n = 0; n < asked; ++n) {
    const std::size_t place = n * tree.size() / asked;
    if (lines.direction(place).known()) on_line.push_back(place);
  }
  if (2 * on_line.size() < asked) return std::nullopt;
  std::vector<double> distances;
  for (const std::size_t place : on_line) {
    if (const auto distance = lines.to_next(place)) distances.push_back(*distance);
  }
  if (2 * distances.size() < asked) return std::nullopt;
  return median(std::move(distances));
}

}  // namespace

StationSpacing station_spacing(const std::vector<double>& x, const std::vector<double>& y) {
  const KdTree2 tree(x, y);
  StationSpacing found{
      .places = static_cast<std::int64_t>(tree.size()), .median = 0.0, .lines = {}};
  if (tree.size() < 2) return found;
  std::vector<double> distances = allocate<double>(tree.size(), kRoutine);
  for (std::size_t i = 0; i < distances.size(); ++i) {
    distances[i] = tree.distance_to_nearest_other(i);
  }
  found.median = median(std::move(distances));
  found.lines = between_lines(tree, found.median);
  if (found.lines && *found.lines < kCloserAlong * found.median) found.lines.reset();
  return found;
}

}  // namespace quorivex
