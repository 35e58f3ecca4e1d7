// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geometry/kd_tree.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "kd_tree";
constexpr double kFar = std::numeric_limits<double>::infinity();

std::vector<MapPoint> distinct_places(const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<MapPoint> places = allocate<MapPoint>(x.size(), kRoutine);
  for (std::size_t i = 0; i < places.size(); ++i) places[i] = {x[i], y[i]};
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  return places;
}

bool any(std::size_t) { return true; }

std::size_t middle(std::size_t first, std::size_t last) { return first + (last - first) / 2; }

}  // namespace

KdTree2::KdTree2(const std::vector<double>& x, const std::vector<double>& y)
    : places_(distinct_places(x, y)), axes_(allocate<std::uint8_t>(places_.size(), kRoutine)) {
  build(0, places_.size());
}

struct KdTree2::Nearest {
  std::size_t place = 0;
  double square = kFar;  // of the distance
};

/// Replaces `nearest` where an accepted place of the range is nearer.
template <class Accepts>
void KdTree2::search(std::size_t first, std::size_t last, const MapPoint& from,
                     const Accepts& accepts, Nearest& nearest) const {
  if (first >= last) return;
  const std::size_t mid = middle(first, last);
  const double dx = from[0] - places_[mid][0];
  const double dy = from[1] - places_[mid][1];
  const double square = dx * dx + dy * dy;
  if (square < nearest.square && accepts(mid)) nearest = {mid, square};
  const double beyond = axes_[mid] == 0 ? dx : dy;
  const bool before = beyond < 0.0;
  const auto search_side = [&](bool lower) {
    lower ? search(first, mid, from, accepts, nearest)
          : search(mid + 1, last, from, accepts, nearest);
  };
  search_side(before);
  if (beyond * beyond < nearest.square) search_side(!before);
}

const MapPoint& KdTree2::nearest(const MapPoint& from) const {
  Nearest found;
  search(0, size(), from, any, found);
  return places_[found.place];
}

double KdTree2::to_nearest(const MapPoint& from) const {
  Nearest found;
  search(0, size(), from, any, found);
  return std::sqrt(found.square);
}

double KdTree2::distance_to_nearest_other(std::size_t place) const {
  Nearest found;
  search(
      0, size(), places_[place], [place](std::size_t other) { return other != place; }, found);
  return std::sqrt(found.square);
}

std::size_t KdTree2::nearest_accepted(const MapPoint& from, double within,
                                      const std::function<bool(std::size_t)>& accepts) const {
  Nearest found{.place = size(), .square = within * within};
  search(0, size(), from, accepts, found);
  return found.place;
}

void KdTree2::build(std::size_t first, std::size_t last) {
  if (last - first < 2) return;
  MapPoint min = places_[first];
  MapPoint max = min;
  for (std::size_t i = first; i < last; ++i) {
    for (std::size_t axis = 0; axis < 2; ++axis) {
      min[axis] = std::min(min[axis], places_[i][axis]);
      max[axis] = std::max(max[axis], places_[i][axis]);
    }
  }
  const std::size_t axis = max[0] - min[0] >= max[1] - min[1] ? 0 : 1;
  const std::size_t mid = middle(first, last);
  const auto at = [this](std::size_t i) {
    return places_.begin() + static_cast<std::ptrdiff_t>(i);
  };
  std::nth_element(at(first), at(mid), at(last),
                   [axis](const MapPoint& a, const MapPoint& b) { return a[axis] < b[axis]; });
  axes_[mid] = static_cast<std::uint8_t>(axis);
  build(first, mid);
  build(mid + 1, last);
}

}  // namespace quorivex
