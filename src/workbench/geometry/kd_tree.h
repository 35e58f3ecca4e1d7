// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace quorivex {

/// Easting and northing.
using MapPoint = std::array<double, 2>;

/// Finds the nearest of n places in about log n steps: a balanced k-d tree in the array of the
/// places itself (Bentley 1975). The middle place of a range splits it across its longer side, so
/// that places along a line are split well too. Points at the same place count once.
class KdTree2 {
 public:
  /// @param x, y  eastings and northings of the places
  KdTree2(const std::vector<double>& x, const std::vector<double>& y);

  std::size_t size() const { return places_.size(); }
  const MapPoint& place(std::size_t number) const { return places_[number]; }

  /// The place that is nearest to `from`; there is at least one.
  const MapPoint& nearest(const MapPoint& from) const;

  /// Horizontal distances; infinite where there is no (other) place.
  double to_nearest(const MapPoint& from) const;
  double distance_to_nearest_other(std::size_t place) const;

  /// The number of the nearest place that is accepted and closer than `within`; size() where none
  /// is. All places there are asked where none is accepted.
  std::size_t nearest_accepted(const MapPoint& from, double within,
                               const std::function<bool(std::size_t place)>& accepts) const;

 private:
  void build(std::size_t first, std::size_t last);
  struct Nearest;
  template <class Accepts>
  void search(std::size_t first, std::size_t last, const MapPoint& from, const Accepts& accepts,
              Nearest& nearest) const;

  std::vector<MapPoint> places_;
  std::vector<std::uint8_t> axes_;  // across which the place at the middle of a range splits it
};

}  // namespace quorivex
