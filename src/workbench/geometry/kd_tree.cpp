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

double KdTree2::to_nearest(const MapPoint& from) const {
  double square = kFar;
  search(0, size(), from, size(), square);
  return std::sqrt(square);
}

double KdTree2::distance_to_nearest_other(std::size_t place) const {
  double square = kFar;
  search(0, size(), places_[place], place, square);
  return std::sqrt(square);
}

void KdTree2::build(std::size_t first, std::size_t last) {
  if (last - first < 2) return;
  MapPoint least = places_[first];
  MapPoint most = least;
  for (std::size_t i = first; i < last; ++i) {
    for (std::size_t axis = 0; axis < 2; ++axis) {
      least[axis] = std::min(least[axis], places_[i][axis]);
      most[axis] = std::max(most[axis], places_[i][axis]);
    }
  }
  const std::size_t axis = most[0] - least[0] >= most[1] - least[1] ? 0 : 1;
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

/// Lowers `square`, a squared distance, to that of the nearest place of the range but one.
void KdTree2::search(std::size_t first, std::size_t last, const MapPoint& from, std::size_t without,
                     double& square) const {
  if (first >= last) return;
  const std::size_t mid = middle(first, last);
  const double dx = from[0] - places_[mid][0];
  const double dy = from[1] - places_[mid][1];
  if (mid != without) square = std::min(square, dx * dx + dy * dy);
  const double beyond = axes_[mid] == 0 ? dx : dy;
  const bool before = beyond < 0.0;
  before ? search(first, mid, from, without, square) : search(mid + 1, last, from, without, square);
  if (beyond * beyond >= square) return;
  before ? search(mid + 1, last, from, without, square) : search(first, mid, from, without, square);
}

}  // namespace quorivex
