// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace quorivex {

/// Easting, northing and elevation, metres.
using SpacePoint = std::array<double, 3>;

/// A straight piece of a path; a point where it has no length.
struct Segment {
  SpacePoint from;
  SpacePoint to;
};

/// The distance of a place from the nearest point of a segment, squared.
double square_distance(const SpacePoint& place, const Segment& segment);

/// Finds the nearest of n segments in about log n steps: a balanced tree of boxes in the array of
/// the segments itself, split at the middle of the longest side of their midpoints' box.
class SegmentTree {
 public:
  explicit SegmentTree(std::vector<Segment> segments);

  std::size_t size() const { return segments_.size(); }

  /// The number of the nearest segment that is not farther than `within`, the first of equally near
  /// ones; size() where there is none.
  std::size_t nearest(const SpacePoint& from, double within) const;

 private:
  struct Box {
    SpacePoint low;
    SpacePoint high;
  };
  struct Nearest;
  void build(std::size_t first, std::size_t last);
  double square_distance_to_box(const SpacePoint& from, std::size_t first, std::size_t last) const;
  void search(std::size_t first, std::size_t last, const SpacePoint& from, Nearest& nearest) const;

  std::vector<Segment> segments_;
  std::vector<std::size_t> numbers_;  // of the segments in the order of the tree
  std::vector<Box> boxes_;            // around a range of them, at the place of its middle
};

}  // namespace quorivex
