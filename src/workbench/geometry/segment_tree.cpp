// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geometry/segment_tree.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kSegmentTree = "segment_tree";

std::size_t half_way(std::size_t first, std::size_t last) { return first + (last - first) / 2; }

/// Twice the coordinate of its midpoint.
double twice_middle(const Segment& segment, std::size_t axis) {
  return segment.from[axis] + segment.to[axis];
}

}  // namespace

double square_distance(const SpacePoint& place, const Segment& segment) {
  double along = 0.0;
  double square_length = 0.0;
  for (std::size_t a = 0; a < 3; ++a) {
    const double side = segment.to[a] - segment.from[a];
    along += (place[a] - segment.from[a]) * side;
    square_length += side * side;
  }
  const double part = square_length > 0.0 ? std::clamp(along / square_length, 0.0, 1.0) : 0.0;
  double square = 0.0;
  for (std::size_t a = 0; a < 3; ++a) {
    const double off = place[a] - segment.from[a] - part * (segment.to[a] - segment.from[a]);
    square += off * off;
  }
  return square;
}

SegmentTree::SegmentTree(std::vector<Segment> segments)
    : segments_(std::move(segments)),
      numbers_(allocate<std::size_t>(segments_.size(), kSegmentTree)),
      boxes_(allocate<Box>(segments_.size(), kSegmentTree)) {
  std::iota(numbers_.begin(), numbers_.end(), std::size_t{0});
  build(0, segments_.size());
}

void SegmentTree::build(std::size_t first, std::size_t last) {
  if (first >= last) return;
  const std::size_t mid = half_way(first, last);
  constexpr double kBeyondAll = std::numeric_limits<double>::infinity();
  Box box{{kBeyondAll, kBeyondAll, kBeyondAll}, {-kBeyondAll, -kBeyondAll, -kBeyondAll}};
  Box middles = box;
  for (std::size_t n = first; n < last; ++n) {
    const Segment& segment = segments_[numbers_[n]];
    for (std::size_t a = 0; a < 3; ++a) {
      box.low[a] = std::min({box.low[a], segment.from[a], segment.to[a]});
      box.high[a] = std::max({box.high[a], segment.from[a], segment.to[a]});
      middles.low[a] = std::min(middles.low[a], twice_middle(segment, a));
      middles.high[a] = std::max(middles.high[a], twice_middle(segment, a));
    }
  }
  std::size_t axis = 0;
  for (const std::size_t a : {1U, 2U}) {
    if (middles.high[a] - middles.low[a] > middles.high[axis] - middles.low[axis]) axis = a;
  }
  const auto at = [&](std::size_t n) { return numbers_.begin() + static_cast<std::ptrdiff_t>(n); };
  std::nth_element(at(first), at(mid), at(last), [&](std::size_t a, std::size_t b) {
    return twice_middle(segments_[a], axis) < twice_middle(segments_[b], axis);
  });
  boxes_[mid] = box;
  build(first, mid);
  build(mid + 1, last);
}

struct SegmentTree::Nearest {
  std::size_t number = 0;
  double square = 0.0;  // of the distance
};

double SegmentTree::square_distance_to_box(const SpacePoint& from, std::size_t first,
                                           std::size_t last) const {
  if (first >= last) return std::numeric_limits<double>::infinity();
  const Box& box = boxes_[half_way(first, last)];
  double square = 0.0;
  for (std::size_t a = 0; a < 3; ++a) {
    const double off = std::max({box.low[a] - from[a], from[a] - box.high[a], 0.0});
    square += off * off;
  }
  return square;
}

/// Replaces `nearest` where a segment of the range is nearer, or as near and before it.
void SegmentTree::search(std::size_t first, std::size_t last, const SpacePoint& from,
                         Nearest& nearest) const {
  const std::size_t mid = half_way(first, last);
  const std::size_t number = numbers_[mid];
  const double square = square_distance(from, segments_[number]);
  if (square < nearest.square || (square == nearest.square && number < nearest.number)) {
    nearest = {number, square};
  }
  using Range = std::pair<std::size_t, std::size_t>;
  std::array<std::pair<double, Range>, 2> sides{
      {{square_distance_to_box(from, first, mid), {first, mid}},
       {square_distance_to_box(from, mid + 1, last), {mid + 1, last}}}};
  if (sides[1].first < sides[0].first) std::swap(sides[0], sides[1]);
  for (const auto& [to_box, range] : sides) {
    if (range.first < range.second && to_box <= nearest.square) {
      search(range.first, range.second, from, nearest);
    }
  }
}

std::size_t SegmentTree::nearest(const SpacePoint& from, double within) const {
  Nearest nearest{size(), within * within};
  if (square_distance_to_box(from, 0, size()) <= nearest.square) search(0, size(), from, nearest);
  return nearest.number;
}

}  // namespace quorivex
