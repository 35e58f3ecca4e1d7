// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/slice_pictures.h"

#include <fmt/format.h>

namespace quorivex {
namespace {

constexpr std::int64_t kMostDots = 20'000;  // more would hide the map

std::vector<PicturePoint> dots_within(const Slice& plan, const Observations& stations) {
  std::vector<PicturePoint> dots;
  for (std::size_t i = 0; i < stations.x.size(); ++i) {
    const PicturePoint at{stations.x[i], stations.y[i]};
    if (at.x >= plan.x_nodes.front() && at.x <= plan.x_nodes.back() &&
        at.y >= plan.y_nodes.front() && at.y <= plan.y_nodes.back()) {
      dots.push_back(at);
    }
  }
  if (length(dots) > kMostDots) dots.clear();
  return dots;
}

}  // namespace

std::string slice_title(const SlicePlace& place) {
  const std::string metres = fmt::format("{:.10g} m", place.metres);
  switch (place.kind) {
    case SliceKind::elevation:
      return "Magnetic susceptibility at an elevation of " + metres;
    case SliceKind::depth:
      return "Magnetic susceptibility " + metres + " below the ground";
    case SliceKind::easting:
      return "Magnetic susceptibility along easting " + metres;
    default:
      return "Magnetic susceptibility along northing " + metres;
  }
}

Picture picture_of(const Slice& slice, const SlicePlace& place, const Observations& stations) {
  Picture picture;
  picture.title = slice_title(place);
  picture.x_label = place.kind == SliceKind::easting ? "Northing (m)" : "Easting (m)";
  picture.y_label = is_plan(place) ? "Northing (m)" : "Elevation (m)";
  picture.x_nodes = slice.x_nodes;
  picture.y_nodes = slice.y_nodes;
  picture.values = slice.values;
  picture.value_label = "Magnetic susceptibility (SI)";
  picture.is_map = is_plan(place);
  if (picture.is_map) picture.dots = dots_within(slice, stations);
  return picture;
}

}  // namespace quorivex
