// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace quorivex {

/// Easting, northing and elevation.
using SpacePoint = std::array<double, 3>;

/// Finds the nearest of n points in space in about log n steps: KdTree2 with a third axis.
class PointTree {
 public:
  explicit PointTree(std::vector<SpacePoint> points);

  /// Infinite where there is no point.
  double distance_to_nearest(const SpacePoint& from) const;

 private:
  void build(std::size_t first, std::size_t last);
  void search(std::size_t first, std::size_t last, const SpacePoint& from, double& square) const;

  std::vector<SpacePoint> points_;
  std::vector<std::uint8_t> axes_;  // across which the point at the middle of a range splits it
};

}  // namespace quorivex
