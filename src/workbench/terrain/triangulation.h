// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "workbench/terrain/surface_points.h"

namespace quorivex {

/// The terrain between scattered points: a plane on each triangle of their Delaunay triangulation,
///
///     z = z0 + w1 (z1 - z0) + w2 (z2 - z0),
///
/// and outside the triangles the elevation of the nearest point. The surface passes through its
/// points, and a level surface is level to the last bit.
///
/// Where the border of the points bends inward a little, as that of a reprojected grid does, the
/// triangles that fill the bend are slivers between its far ends, which know nothing of the points
/// along it. In a sliver the elevation is that at the nearest side of the border.
///
/// One thread at a time: each query begins where the one before ended, and is quick near it.
class Surface {
 public:
  /// @throws StopRun "Error: Points in the topography file are collinear."
  explicit Surface(const SurfacePoints& points);
  Surface(Surface&&) noexcept;
  Surface& operator=(Surface&&) noexcept;
  ~Surface();

  /// Elevation in metres; NaN where easting or northing is not finite.
  double elevation(double easting, double northing) const;

  /// Whether the place lies in or on a triangle of points that were not appended.
  bool covers(double easting, double northing) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorivex
