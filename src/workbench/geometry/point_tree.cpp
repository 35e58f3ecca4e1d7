// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geometry/point_tree.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

std::ptrdiff_t offset(std::size_t number) { return static_cast<std::ptrdiff_t>(number); }

}  // namespace

PointTree::PointTree(std::vector<SpacePoint> points)
    : points_(std::move(points)), axes_(allocate<std::uint8_t>(points_.size(), "point_tree")) {
  build(0, points_.size());
}

void PointTree::build(std::size_t first, std::size_t last) {
  if (last - first < 2) return;
  const auto begin = points_.begin() + offset(first);
  const auto end = points_.begin() + offset(last);
  std::size_t widest = 0;
  double width = -1.0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto [low, high] = std::minmax_element(
        begin, end, [axis](const auto& a, const auto& b) { return a[axis] < b[axis]; });
    if ((*high)[axis] - (*low)[axis] <= width) continue;
    width = (*high)[axis] - (*low)[axis];
    widest = axis;
  }
  const std::size_t middle = first + (last - first) / 2;
  std::nth_element(begin, points_.begin() + offset(middle), end,
                   [widest](const auto& a, const auto& b) { return a[widest] < b[widest]; });
  axes_[middle] = static_cast<std::uint8_t>(widest);
  build(first, middle);
  build(middle + 1, last);
}

void PointTree::search(std::size_t first, std::size_t last, const SpacePoint& from,
                       double& square) const {
  if (first >= last) return;
  const std::size_t middle = first + (last - first) / 2;
  const SpacePoint& point = points_[middle];
  const SpacePoint away{from[0] - point[0], from[1] - point[1], from[2] - point[2]};
  square = std::min(square, away[0] * away[0] + away[1] * away[1] + away[2] * away[2]);
  const double beyond = away[axes_[middle]];
  const auto search_side = [&](bool lower) {
    lower ? search(first, middle, from, square) : search(middle + 1, last, from, square);
  };
  search_side(beyond < 0.0);
  if (beyond * beyond < square) search_side(beyond >= 0.0);
}

double PointTree::distance_to_nearest(const SpacePoint& from) const {
  double square = std::numeric_limits<double>::infinity();
  search(0, points_.size(), from, square);
  return std::sqrt(square);
}

}  // namespace quorivex
