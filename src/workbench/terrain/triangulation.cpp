// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/triangulation.h"

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_face_base_with_info_2.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "base/memory.h"
#include "base/stop_run.h"
#include "workbench/geometry/kd_tree.h"
#include "workbench/geometry/map_box.h"

namespace quorivex {
namespace {

// Heights of slivers, in units of their longest side: a parallel of latitude bends by 0.0004 over
// 20 km in mid-latitudes, by 0.002 over 100 km.
constexpr double kSliver = 0.005;
constexpr double kSnap = 1e-7;       // of the extent: places so close to the border lie on it
constexpr double kCollinear = 1e-9;  // of the longest distance, for the distance from a line

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Vertex = CGAL::Triangulation_vertex_base_with_info_2<double, Kernel>;  // info: elevation
// The vertex of a sliver opposite its longest side, which faces outward; -1 in other triangles.
struct SliverApex {
  int vertex = -1;
};
using Face = CGAL::Triangulation_face_base_with_info_2<SliverApex, Kernel>;
using Structure = CGAL::Triangulation_data_structure_2<Vertex, Face>;
using Triangulation = CGAL::Delaunay_triangulation_2<Kernel, Structure>;
using Point = Kernel::Point_2;
using VertexHandle = Triangulation::Vertex_handle;
using FaceHandle = Triangulation::Face_handle;

// Extended precision: triangles at the hull can be so thin that a double cannot tell their area.
struct Vector {
  long double x;
  long double y;
};

Vector from_to(const Point& a, const Point& b) {
  return {static_cast<long double>(b.x()) - a.x(), static_cast<long double>(b.y()) - a.y()};
}
long double dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y; }
long double cross(const Vector& a, const Vector& b) { return a.x * b.y - a.y * b.x; }

/// 0 at a, 1 at b, in proportion between and beyond.
double along(const Point& a, const Point& b, const Point& at) {
  const Vector ab = from_to(a, b);
  return static_cast<double>(dot(from_to(a, at), ab) / dot(ab, ab));
}

/// Elevation at the point of the edge that is nearest to `at`, the same from both its sides.
double on_edge(VertexHandle a, VertexHandle b, const Point& at) {
  if (b->point() < a->point()) std::swap(a, b);
  const double w = along(a->point(), b->point(), at);
  if (!(w > 0.0)) return a->info();
  if (w >= 1.0) return b->info();
  return a->info() + w * (b->info() - a->info());
}

/// Elevation inside a triangle. The weights are held where they keep z between the vertices.
double on_face(const FaceHandle& face, const Point& at) {
  const VertexHandle v0 = face->vertex(0);
  const VertexHandle v1 = face->vertex(1);
  const VertexHandle v2 = face->vertex(2);
  const Vector e1 = from_to(v0->point(), v1->point());
  const Vector e2 = from_to(v0->point(), v2->point());
  const Vector q = from_to(v0->point(), at);
  const long double area = cross(e1, e2);
  if (!(area > 0.0L)) return v0->info();
  const double w1 = std::clamp(static_cast<double>(cross(q, e2) / area), 0.0, 1.0);
  const double w2 = std::clamp(static_cast<double>(cross(e1, q) / area), 0.0, 1.0 - w1);
  return v0->info() + w1 * (v1->info() - v0->info()) + w2 * (v2->info() - v0->info());
}

/// The ends of the side opposite vertex `i`.
VertexHandle right_end(const FaceHandle& face, int i) {
  return face->vertex(Triangulation::ccw(i));
}
VertexHandle left_end(const FaceHandle& face, int i) { return face->vertex(Triangulation::cw(i)); }

bool is_sliver(const FaceHandle& face, int apex) {
  const Point& a = right_end(face, apex)->point();
  const Point& b = left_end(face, apex)->point();
  const Point& at = face->vertex(apex)->point();
  const Vector side = from_to(a, b);
  const double part = along(a, b, at);
  return part > 0.0 && part < 1.0 &&
         std::abs(cross(side, from_to(a, at))) < kSliver * dot(side, side);
}

/// Whether the points of the file lie on a line, within the rounding of decimal numbers.
bool are_collinear(const SurfacePoints& points) {
  const std::size_t count = points.easting.size() - points.appended;
  if (count < 3) return false;  // the triangulation knows, with the appended corners
  const auto point = [&](std::size_t i) { return Point(points.easting[i], points.northing[i]); };
  const auto distance = [](const Vector& v) { return std::hypot(v.x, v.y); };
  std::size_t first = 0;
  for (std::size_t i = 1; i < count; ++i) {
    if (point(i) < point(first)) first = i;
  }
  Vector longest{0.0L, 0.0L};
  for (std::size_t i = 0; i < count; ++i) {
    const Vector to = from_to(point(first), point(i));
    if (distance(to) > distance(longest)) longest = to;
  }
  const long double extent = distance(longest);
  const long double magnitude = std::max(std::abs(point(first).x()), std::abs(point(first).y()));
  const long double rounding = 8.0L * std::numeric_limits<double>::epsilon() * (magnitude + extent);
  for (std::size_t i = 0; i < count; ++i) {
    const long double apart = std::abs(cross(longest, from_to(point(first), point(i)))) / extent;
    if (apart > kCollinear * extent + rounding) return false;
  }
  return true;
}

}  // namespace

struct Surface::Impl {
  Triangulation triangulation;
  std::vector<VertexHandle> appended;
  KdTree2 places;
  MapBox box;
  double snap;
  mutable FaceHandle hint;

  explicit Impl(const SurfacePoints& points);
  void find_slivers();
  bool is_appended(VertexHandle vertex) const;
  double elevation(const Point& at) const;
  double nearest(const Point& at) const;
  double on_side(const FaceHandle& face, int index, const Point& at) const;
  double on_border(FaceHandle face, const Point& at) const;
  bool covers(const Point& at) const;
  Point snapped(double easting, double northing) const;
};

Surface::Impl::Impl(const SurfacePoints& points)
    : places(points.easting, points.northing),
      box(box_of(points.easting, points.northing)),
      snap(kSnap * std::max(box.east - box.west, box.north - box.south)) {
  if (are_collinear(points)) {
    stop_run("Error: Points in the topography file are collinear.");
  }
  const std::size_t count = points.easting.size();
  // A vertex and two faces; the points once more here, and with their order in the insertion.
  using Entry = std::pair<Point, double>;
  require_available_memory(count * (sizeof(Structure::Vertex) + 2 * sizeof(Structure::Face) +
                                    2 * sizeof(Entry) + sizeof(std::size_t)));
  std::vector<Entry> entries;
  entries.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    entries.emplace_back(Point(points.easting[i], points.northing[i]), points.elevation[i]);
  }
  triangulation.insert(entries.begin(), entries.end());
  if (triangulation.dimension() < 2) {
    stop_run("Error: Points in the topography file are collinear.");
  }
  for (std::size_t i = count - points.appended; i < count; ++i) {
    appended.push_back(triangulation.nearest_vertex(entries[i].first));
  }
  find_slivers();
}

bool Surface::Impl::is_appended(VertexHandle vertex) const {
  return std::find(appended.begin(), appended.end(), vertex) != appended.end();
}

/// Goes from the sides of the hull inward, from sliver to sliver.
void Surface::Impl::find_slivers() {
  struct Side {
    FaceHandle face;  // the outer one of its two
    int index;
  };
  const VertexHandle infinite = triangulation.infinite_vertex();
  std::vector<Side> sides;
  auto face = triangulation.incident_faces(infinite);
  const auto first = face;
  do {
    sides.push_back({face, face->index(infinite)});
  } while (++face != first);
  while (!sides.empty()) {
    const Side side = sides.back();
    sides.pop_back();
    const FaceHandle inner = side.face->neighbor(side.index);
    const int apex = triangulation.mirror_index(side.face, side.index);
    if (triangulation.is_infinite(inner) || inner->info().vertex >= 0 || !is_sliver(inner, apex)) {
      continue;
    }
    inner->info().vertex = apex;
    sides.push_back({inner, Triangulation::ccw(apex)});
    sides.push_back({inner, Triangulation::cw(apex)});
  }
}

double Surface::Impl::nearest(const Point& at) const {
  const MapPoint& place = places.nearest({at.x(), at.y()});
  return triangulation.nearest_vertex(Point(place[0], place[1]), hint)->info();
}

/// From a sliver inward to the side of the border that is nearest to `at`, and the elevation there.
/// Sides get shorter on the way, so that it ends.
double Surface::Impl::on_border(FaceHandle face, const Point& at) const {
  for (;;) {
    const int apex = face->info().vertex;
    const Point& right = right_end(face, apex)->point();
    const Point& left = left_end(face, apex)->point();
    const bool on_right = along(right, left, at) < along(right, left, face->vertex(apex)->point());
    const int side = on_right ? Triangulation::cw(apex) : Triangulation::ccw(apex);
    const FaceHandle inner = face->neighbor(side);
    const int mirrored = triangulation.mirror_index(face, side);
    if (inner->info().vertex != mirrored) {
      return on_edge(right_end(face, side), left_end(face, side), at);
    }
    face = inner;
  }
}

double Surface::Impl::on_side(const FaceHandle& face, int index, const Point& at) const {
  if (face->info().vertex == index) return on_border(face, at);
  const FaceHandle other = face->neighbor(index);
  if (other->info().vertex == triangulation.mirror_index(face, index)) {
    return on_border(other, at);
  }
  return on_edge(right_end(face, index), left_end(face, index), at);
}

double Surface::Impl::elevation(const Point& at) const {
  Triangulation::Locate_type where{};
  int index = 0;
  hint = triangulation.locate(at, where, index, hint);
  switch (where) {
    case Triangulation::VERTEX:
      return hint->vertex(index)->info();
    case Triangulation::EDGE:
      return on_side(hint, index, at);
    case Triangulation::FACE:
      if (hint->info().vertex >= 0) return on_border(hint, at);
      return on_face(hint, at);
    default:
      return nearest(at);
  }
}

bool Surface::Impl::covers(const Point& at) const {
  Triangulation::Locate_type where{};
  int index = 0;
  hint = triangulation.locate(at, where, index, hint);
  switch (where) {
    case Triangulation::VERTEX:
      return !is_appended(hint->vertex(index));
    case Triangulation::EDGE:
      return !is_appended(right_end(hint, index)) && !is_appended(left_end(hint, index));
    case Triangulation::FACE:
      return !is_appended(hint->vertex(0)) && !is_appended(hint->vertex(1)) &&
             !is_appended(hint->vertex(2));
    default:
      return false;
  }
}

/// Nodes of a mesh are sums of widths, and may miss the border of the points by their rounding.
Point Surface::Impl::snapped(double easting, double northing) const {
  const auto snap_to = [this](double value, double low, double high) {
    const double held = std::clamp(value, low, high);
    return std::abs(value - held) <= snap ? held : value;
  };
  return {snap_to(easting, box.west, box.east), snap_to(northing, box.south, box.north)};
}

Surface::Surface(const SurfacePoints& points) : impl_(std::make_unique<Impl>(points)) {}
Surface::Surface(Surface&&) noexcept = default;
Surface& Surface::operator=(Surface&&) noexcept = default;
Surface::~Surface() = default;

double Surface::elevation(double easting, double northing) const {
  if (!std::isfinite(easting) || !std::isfinite(northing)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  return impl_->elevation(impl_->snapped(easting, northing));
}

bool Surface::covers(double easting, double northing) const {
  return std::isfinite(easting) && std::isfinite(northing) &&
         impl_->covers(impl_->snapped(easting, northing));
}

}  // namespace quorivex
