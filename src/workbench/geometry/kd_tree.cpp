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

const MapPoint& KdTree2::nearest(const MapPoint& from) const {
  Nearest found;
  search(0, size(), from, size(), found);
  return places_[found.place];
}

double KdTree2::to_nearest(const MapPoint& from) const {
  Nearest found;
  search(0, size(), from, size(), found);
  return std::sqrt(found.square);
}

double KdTree2::distance_to_nearest_other(std::size_t place) const {
  Nearest found;
  search(0, size(), places_[place], place, found);
  return std::sqrt(found.square);
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

/// Replaces `nearest` where a place of the range, other than `without`, is nearer.
void KdTree2::search(std::size_t first, std::size_t last, const MapPoint& from, std::size_t without,
                     Nearest& nearest) const {
  if (first >= last) return;
  const std::size_t mid = middle(first, last);
  const double dx = from[0] - places_[mid][0];
  const double dy = from[1] - places_[mid][1];
  const double square = dx * dx + dy * dy;
  if (mid != without && square < nearest.square) nearest = {mid, square};
  const double beyond = axes_[mid] == 0 ? dx : dy;
  const bool before = beyond < 0.0;
  const auto search_side = [&](bool lower) {
    lower ? search(first, mid, from, without, nearest)
          : search(mid + 1, last, from, without, nearest);
  };
  search_side(before);
  if (beyond * beyond < nearest.square) search_side(!before);
}

}  // namespace quorivex
