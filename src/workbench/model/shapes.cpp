// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/shapes.h"

#include <cmath>
#include <numbers>

#include "workbench/model/operation_keys.h"

namespace quorivex {
namespace {

constexpr NumberLimits kPlaces{-kMaxPlace, kMaxPlace};
constexpr NumberLimits kLengths{0.001, kMaxPlace};
constexpr NumberLimits kAzimuths{-360.0, 360.0};

double radians(double degrees) { return degrees * std::numbers::pi / 180.0; }

double dot(const SpacePoint& a, const SpacePoint& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

SpacePoint minus(const SpacePoint& a, const SpacePoint& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

/// Unit vectors (east, north, up) of an azimuth, clockwise from north, and a dip below it.
struct Frame {
  SpacePoint ahead;  ///< horizontal, along the azimuth
  SpacePoint right;  ///< horizontal
  double sine = 0;   ///< of the dip
  double cosine = 1;

  Frame(double azimuth, double dip)
      : ahead{std::sin(radians(azimuth)), std::cos(radians(azimuth)), 0.0},
        right{ahead[1], -ahead[0], 0.0},
        sine(std::sin(radians(dip))),
        cosine(std::cos(radians(dip))) {}
};

}  // namespace

Selection select_ellipsoid(const Operation& operation, const ModelSources& sources) {
  const SpacePoint centre = needed_triple(operation, "centre", kPlaces);
  const SpacePoint axes = needed_triple(operation, "axes", kLengths);
  const double azimuth = needed_number(operation, "azimuth", kAzimuths);
  const Frame frame(azimuth, needed_number(operation, "dip", {-90.0, 90.0}));
  const SpacePoint& a = frame.ahead;
  const SpacePoint plunging{frame.cosine * a[0], frame.cosine * a[1], -frame.sine};
  const SpacePoint third{frame.sine * a[0], frame.sine * a[1], frame.cosine};
  return select_cells(sources.cells, [&](const GridCell& at) {
    const SpacePoint from = minus(sources.cells.centre(at), centre);
    return std::hypot(dot(from, plunging) / axes[0], dot(from, frame.right) / axes[1],
                      dot(from, third) / axes[2]) <= 1.0 + 1e-9;
  });
}

Selection select_slab(const Operation& operation, const ModelSources& sources) {
  const SpacePoint centre = needed_triple(operation, "centre", kPlaces);
  const double strike = needed_number(operation, "strike", kAzimuths);
  const Frame frame(strike, needed_number(operation, "dip", {0.0, 90.0}));
  const double length = needed_number(operation, "length", kLengths);
  const double extent = needed_number(operation, "extent", kLengths);
  const double thickness = needed_number(operation, "thickness", kLengths);
  const SpacePoint& right = frame.right;
  const SpacePoint down_dip{frame.cosine * right[0], frame.cosine * right[1], -frame.sine};
  const SpacePoint across{frame.sine * right[0], frame.sine * right[1], frame.cosine};
  const auto reaches = [](double distance, double whole) {
    return std::abs(distance) <= 0.5 * whole + kOnBoundary;
  };
  return select_cells(sources.cells, [&](const GridCell& at) {
    const SpacePoint from = minus(sources.cells.centre(at), centre);
    return reaches(dot(from, frame.ahead), length) && reaches(dot(from, down_dip), extent) &&
           reaches(dot(from, across), thickness);
  });
}

}  // namespace quorivex
