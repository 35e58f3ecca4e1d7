// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "workbench/terrain/surface_points.h"

namespace quorivex {

/// The ground between scattered points: plane on each triangle of their Delaunay triangulation,
///
///     z = z0 + w1 (z1 - z0) + w2 (z2 - z0),
///
/// and beyond their convex hull as high as the hull's nearest point. The surface passes through
/// its points, and a level surface is level to the last bit.
///
/// One thread at a time: each query begins where the one before ended, and is quick beside it.
class Surface {
 public:
  /// @throws StopRun "Error: Points in the topography file are collinear."
  explicit Surface(const SurfacePoints& points);
  Surface(Surface&&) noexcept;
  Surface& operator=(Surface&&) noexcept;
  ~Surface();

  /// Elevation in metres; NaN where easting or northing is not finite.
  double elevation(double easting, double northing) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorivex
