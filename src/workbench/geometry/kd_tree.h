// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace quorivex {

/// Easting and northing.
using MapPoint = std::array<double, 2>;

/// Finds the nearest of n places in about log n steps: a balanced k-d tree in the array of the
/// places itself (Bentley 1975). The middle place of a range splits it across its longer side, so
/// that places along a line are split well too. MapPoints at the same spot count once.
class KdTree2 {
 public:
  /// @param x, y  eastings and northings of the places
  KdTree2(const std::vector<double>& x, const std::vector<double>& y);

  std::size_t size() const { return places_.size(); }

  /// Horizontal distances; infinite where there is no place to be near to.
  double to_nearest(const MapPoint& from) const;
  double distance_to_nearest_other(std::size_t place) const;

 private:
  void build(std::size_t first, std::size_t last);
  void search(std::size_t first, std::size_t last, const MapPoint& from, std::size_t without,
              double& square) const;

  std::vector<MapPoint> places_;
  std::vector<std::uint8_t> axes_;  // across which the place at the middle of a range splits it
};

}  // namespace quorivex
