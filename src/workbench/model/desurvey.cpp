// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/desurvey.h"

#include <algorithm>
#include <cmath>

namespace quorivex {
namespace {

constexpr double kStraight = 1e-4;   // radians: below it quotients are near 0/0
constexpr double kOpposite = 1e-3;   // length of the sum of two directions
constexpr double kPathError = 0.01;  // metres between an arc and its chord
constexpr double kMaxPieces = 100.0;

SpacePoint direction_of(const HoleDirection& measured) {
  const double degree = std::acos(-1.0) / 180.0;
  const double azimuth = measured.azimuth * degree;
  const double dip = measured.dip * degree;
  return {std::cos(dip) * std::sin(azimuth), std::cos(dip) * std::cos(azimuth), std::sin(dip)};
}

double length_of(const SpacePoint& a, const SpacePoint& b, double sign) {
  return std::hypot(a[0] + sign * b[0], a[1] + sign * b[1], a[2] + sign * b[2]);
}

/// The angle between two directions, radians; exact for small ones too.
double angle_between(const SpacePoint& a, const SpacePoint& b) {
  return 2.0 * std::atan2(length_of(a, b, -1.0), length_of(a, b, 1.0));
}

/// The direction at a part of an arc whose ends have the directions a and b.
SpacePoint direction_within(const SpacePoint& a, const SpacePoint& b, double angle, double part) {
  const bool straight = angle < kStraight;
  const double of_a = straight ? 1.0 - part : std::sin((1.0 - part) * angle) / std::sin(angle);
  const double of_b = straight ? part : std::sin(part * angle) / std::sin(angle);
  return {of_a * a[0] + of_b * b[0], of_a * a[1] + of_b * b[1], of_a * a[2] + of_b * b[2]};
}

/// The end of an arc of this length that begins at `from` in direction a and ends in direction b.
SpacePoint end_of_arc(const SpacePoint& from, const SpacePoint& a, const SpacePoint& b,
                      double length) {
  const double angle = angle_between(a, b);
  const double ratio = angle < kStraight ? 1.0 : 2.0 / angle * std::tan(0.5 * angle);
  const double factor = 0.5 * length * ratio;
  return {from[0] + factor * (a[0] + b[0]), from[1] + factor * (a[1] + b[1]),
          from[2] + factor * (a[2] + b[2])};
}

/// The last node that is not deeper.
std::vector<HolePath::Node>::const_iterator node_above(const HolePath& path, double depth) {
  const auto deeper =
      std::upper_bound(path.nodes.begin() + 1, path.nodes.end(), depth,
                       [](double d, const HolePath::Node& s) { return d < s.depth; });
  return deeper - 1;
}

}  // namespace

bool are_opposite(const HoleDirection& a, const HoleDirection& b) {
  return length_of(direction_of(a), direction_of(b), 1.0) < kOpposite;
}

HolePath desurvey(const SpacePoint& collar, const std::vector<HoleDirection>& directions) {
  HolePath path;
  path.nodes.push_back({0.0, collar, direction_of(directions.front())});
  for (const HoleDirection& measured : directions) {
    const HolePath::Node& last = path.nodes.back();
    if (measured.depth <= last.depth) continue;  // the first, at the collar
    const SpacePoint direction = direction_of(measured);
    path.nodes.push_back(
        {measured.depth,
         end_of_arc(last.place, last.direction, direction, measured.depth - last.depth),
         direction});
  }
  return path;
}

SpacePoint place_at(const HolePath& path, double depth) {
  const auto above = node_above(path, depth);
  const double beyond = depth - above->depth;
  if (above + 1 == path.nodes.end()) {
    return end_of_arc(above->place, above->direction, above->direction, beyond);
  }
  const auto below = above + 1;
  const double part = beyond / (below->depth - above->depth);
  const double angle = angle_between(above->direction, below->direction);
  return end_of_arc(above->place, above->direction,
                    direction_within(above->direction, below->direction, angle, part), beyond);
}

std::vector<SpacePoint> places_between(const HolePath& path, double from, double to) {
  std::vector<SpacePoint> places{place_at(path, from)};
  for (auto above = node_above(path, from); above->depth < to; ++above) {
    const auto below = above + 1;
    const bool last = below == path.nodes.end();
    const double begin = std::max(from, above->depth);
    const double end = last ? to : std::min(to, below->depth);
    // An arc that turns by an angle over its length lies length angle / 8 off its chord.
    int pieces = 1;
    if (!last) {
      const double length = end - begin;
      const double angle = angle_between(above->direction, below->direction) * length /
                           (below->depth - above->depth);
      const double needed = std::ceil(std::sqrt(length * angle / (8.0 * kPathError)));
      pieces = static_cast<int>(std::clamp(needed, 1.0, kMaxPieces));
    }
    for (int piece = 1; piece <= pieces; ++piece) {
      places.push_back(place_at(path, begin + (end - begin) * piece / pieces));
    }
    if (last) break;
  }
  return places;
}

}  // namespace quorivex
