// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "workbench/geometry/segment_tree.h"

namespace quorivex {

/// The direction of a hole that was measured at a depth along it.
struct HoleDirection {
  double depth = 0.0;    ///< metres along the hole from its collar
  double azimuth = 0.0;  ///< degrees clockwise from grid north
  double dip = -90.0;    ///< degrees from the horizontal, negative downward
};

/// The path of a hole: an arc between two nodes, straight on beyond the last.
struct HolePath {
  struct Node {
    double depth;
    SpacePoint place;
    SpacePoint direction;  ///< of length 1
  };
  std::vector<Node> nodes;  ///< by depth, the collar first
};

/// The path by the method of minimum curvature, where two directions are joined by an arc of a
/// circle (Sawaryn and Thorogood 2005, A compendium of directional calculations based on the
/// minimum curvature method: SPE Drilling & Completion 20, 24-36). The first direction holds from
/// the collar on.
/// @param directions  at least one, by increasing depth, none opposite to the one before it
HolePath desurvey(const SpacePoint& collar, const std::vector<HoleDirection>& directions);

/// Whether no arc joins the two, because the hole would turn back on itself.
bool are_opposite(const HoleDirection& a, const HoleDirection& b);

SpacePoint place_at(const HolePath& path, double depth);

/// The path between two depths as straight pieces, which lie within a centimetre of it where a
/// hundred between two nodes are enough for that. The first place is that of `from`, the last
/// that of `to`.
std::vector<SpacePoint> places_between(const HolePath& path, double from, double to);

}  // namespace quorivex
