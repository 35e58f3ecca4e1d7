// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/terrain_tops.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kTopsRoutine = "read_topography";
constexpr double kAboveAll = 1e20;  // metres, higher than any terrain

/// A place along an axis, and the width of the cell there; between two cells their mean.
struct Place {
  double at;
  double wide;
};

/// Elevations of the terrain, with what was met so far.
class Sampler {
 public:
  explicit Sampler(const Terrain& terrain) : terrain_(terrain) {}

  /// Of the ground of a cell's size about a place.
  double elevation(const Place& e, const Place& n) {
    const double easting = e.at;
    const double northing = n.at;
    const double found = mean_elevation(terrain_, easting, northing, e.wide, n.wide);
    min_ = std::min(min_, found);  // these ignore a NaN
    max_ = std::max(max_, found);
    // A mesh whose widths overflow has places that are not finite; those do not count.
    if (std::isnan(found) && std::isfinite(easting) && std::isfinite(northing)) {
      if (missing_ == 0) first_missing_ = fmt::format("{:.10g} E {:.10g} N", easting, northing);
      ++missing_;
    }
    ++asked_;
    return found;
  }

  void refuse_missing() const {
    if (missing_ == 0) return;
    stop_run(fmt::format(
        " ERROR: the terrain {} has no elevation at {} of {} places of the mesh (corners, "
        "midpoints\n"
        " of edges and centres of its columns), the first at {}.\n"
        " Fill the gaps of the grid, or make the mesh smaller.",
        terrain_.name, missing_, asked_, first_missing_));
  }
  double min() const { return min_; }
  double max() const { return max_; }

 private:
  const Terrain& terrain_;
  double min_ = std::numeric_limits<double>::infinity();
  double max_ = -std::numeric_limits<double>::infinity();
  std::int64_t missing_ = 0;
  std::int64_t asked_ = 0;
  std::string first_missing_;
};

/// Node 1, centre of cell 1, node 2, ..., the last node.
std::vector<Place> nodes_and_centres(const std::vector<double>& nodes) {
  std::vector<Place> refined = allocate<Place>(2 * nodes.size() - 1, kTopsRoutine);
  const std::size_t last = nodes.size() - 1;
  for (std::size_t i = 0; i <= last; ++i) {
    const double before =
        nodes[std::max<std::size_t>(i, 1)] - nodes[std::max<std::size_t>(i, 1) - 1];
    const double after = nodes[std::min(i, last - 1) + 1] - nodes[std::min(i, last - 1)];
    if (i > 0) refined[2 * i - 1] = {(nodes[i - 1] + nodes[i]) * 0.5, before};
    refined[2 * i] = {nodes[i], 0.5 * (before + after)};
  }
  return refined;
}

/// The lowest and highest of some elevations.
struct Extent {
  double low = kAboveAll;
  double high = -kAboveAll;
};

Extent extent_of(const Extent& a, const Extent& b, const Extent& c) {
  return {std::min({a.low, b.low, c.low}), std::max({a.high, b.high, c.high})};
}

/// Along one line of the refined grid, for each cell the extent of the terrain at its three places.
std::vector<Extent> extents_on_line(const std::vector<Place>& eastings, const Place& northing,
                                    Sampler& terrain) {
  std::vector<Extent> extents = allocate<Extent>(eastings.size() / 2, kTopsRoutine);
  double west = terrain.elevation(eastings[0], northing);
  for (std::size_t i = 0; i < extents.size(); ++i) {
    const double centre = terrain.elevation(eastings[2 * i + 1], northing);
    const double east = terrain.elevation(eastings[2 * i + 2], northing);
    // This order ignores a NaN.
    extents[i] = {std::min({kAboveAll, west, centre, east}),
                  std::max({-kAboveAll, west, centre, east})};
    west = east;
  }
  return extents;
}

/// The layers of a mesh from above.
class Layers {
 public:
  explicit Layers(const Mesh& mesh)
      : faces_(allocate<double>(mesh.depth_nodes.size(), kTopsRoutine)),
        rounding_(rounding_of(mesh)) {
    std::transform(mesh.depth_nodes.begin(), mesh.depth_nodes.end(), faces_.begin(),
                   [&](double depth) { return mesh.z0 - depth; });
  }

  /// The elevation, or that of the face on which it lies but for its rounding.
  double on_face(double elevation) const {
    const auto same = std::find_if(faces_.begin(), faces_.end(), [&](double face) {
      return std::abs(face - elevation) <= rounding_;
    });
    return same == faces_.end() ? elevation : *same;
  }

  double above_top(double elevation) const { return elevation - faces_.front(); }

  std::int32_t air_cells(double elevation) const {
    const auto nz = static_cast<std::int32_t>(faces_.size() - 1);
    if (elevation >= faces_.front()) return 0;
    if (elevation < faces_.back()) return nz;
    // Not a binary search: thicknesses may be zero or negative.
    for (std::int32_t k = 1; k < nz; ++k) {
      if (faces_[as_size(k - 1)] >= elevation && elevation >= faces_[as_size(k)]) return k;
    }
    return nz;
  }

 private:
  /// What sums of decimal widths and elevations between points lose: 1e-10 of the largest number,
  /// and never more than a thousandth of a millimetre.
  static double rounding_of(const Mesh& mesh) {
    const double magnitude = std::abs(mesh.z0) + std::abs(mesh.depth_nodes.back());
    return std::min(1e-10 * magnitude, 1e-6);
  }

  std::vector<double> faces_;
  double rounding_;
};

}  // namespace

TerrainTops column_tops_of_terrain(const Mesh& mesh, const Terrain& terrain) {
  const std::vector<Place> eastings = nodes_and_centres(mesh.easting_nodes);
  const std::vector<Place> northings = nodes_and_centres(mesh.northing_nodes);
  const Layers layers(mesh);
  const std::size_t nn = northings.size() / 2;
  const std::size_t ne = eastings.size() / 2;
  TerrainTops found;
  found.tops = {
      .nn = mesh.nn, .ne = mesh.ne, .tops = allocate<std::int32_t>(nn * ne, kTopsRoutine)};
  Sampler sampler(terrain);
  std::vector<Extent> south = extents_on_line(eastings, northings[0], sampler);
  for (std::size_t j = 0; j < nn; ++j) {
    const std::vector<Extent> centre = extents_on_line(eastings, northings[2 * j + 1], sampler);
    std::vector<Extent> north = extents_on_line(eastings, northings[2 * j + 2], sampler);
    for (std::size_t i = 0; i < ne; ++i) {
      const Extent extent = extent_of(south[i], centre[i], north[i]);
      found.tops.tops[i * nn + j] = layers.air_cells(layers.on_face(extent.low));
      const double cut = layers.above_top(layers.on_face(extent.high));
      if (cut > 0.0) ++found.cut.columns;
      found.cut.max_height = std::max(found.cut.max_height, cut);
      if (!terrain.covers(eastings[2 * i + 1].at, northings[2 * j + 1].at)) ++found.outside;
    }
    south = std::move(north);
  }
  sampler.refuse_missing();
  found.min = sampler.min();
  found.max = sampler.max();
  return found;
}

ColumnTops read_topography(const std::string& name, const Mesh& mesh, const Warn& warn) {
  return column_tops_of_terrain(mesh, read_terrain(name, mesh, warn)).tops;
}

}  // namespace quorivex
