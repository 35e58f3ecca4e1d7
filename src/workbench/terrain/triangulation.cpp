// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/triangulation.h"

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "base/memory.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Vertex = CGAL::Triangulation_vertex_base_with_info_2<double, Kernel>;  // info: elevation
using Structure = CGAL::Triangulation_data_structure_2<Vertex>;
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

// An edge of the hull is given by the infinite face beyond it.

VertexHandle first_end(const FaceHandle& edge, int infinite) {
  return edge->vertex(Triangulation::ccw(infinite));
}
VertexHandle last_end(const FaceHandle& edge, int infinite) {
  return edge->vertex(Triangulation::cw(infinite));
}

}  // namespace

struct Surface::Impl {
  Triangulation triangulation;
  mutable FaceHandle hint;

  explicit Impl(const SurfacePoints& points);
  double elevation(const Point& at) const;
  int side(const FaceHandle& edge, const Point& at) const;
  FaceHandle neighbour(const FaceHandle& edge, int side) const;
  FaceHandle nearest_hull_edge(FaceHandle edge, const Point& at) const;
};

Surface::Impl::Impl(const SurfacePoints& points) {
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
}

/// -1, 0 or 1: the nearest point of the edge's line lies before its first end, on it, or beyond
/// its last end.
int Surface::Impl::side(const FaceHandle& edge, const Point& at) const {
  const int infinite = edge->index(triangulation.infinite_vertex());
  const double w = along(first_end(edge, infinite)->point(), last_end(edge, infinite)->point(), at);
  return w < 0.0 ? -1 : w > 1.0 ? 1 : 0;
}

/// The edge of the hull that shares the first end (side -1) or the last end (side 1).
FaceHandle Surface::Impl::neighbour(const FaceHandle& edge, int side) const {
  const int infinite = edge->index(triangulation.infinite_vertex());
  return edge->neighbor(side < 0 ? Triangulation::cw(infinite) : Triangulation::ccw(infinite));
}

/// Walks along the hull from an edge that faces `at`. The distance has a single minimum on that
/// part of a convex line: the walk goes where it falls and ends where it no longer does.
FaceHandle Surface::Impl::nearest_hull_edge(FaceHandle edge, const Point& at) const {
  const FaceHandle start = edge;
  const int way = side(start, at);
  if (way == 0) return start;
  do {
    edge = neighbour(edge, way);
  } while (edge != start && side(edge, at) == way);
  return edge;
}

double Surface::Impl::elevation(const Point& at) const {
  Triangulation::Locate_type where{};
  int index = 0;
  hint = triangulation.locate(at, where, index, hint);
  switch (where) {
    case Triangulation::VERTEX:
      return hint->vertex(index)->info();
    case Triangulation::EDGE:
      return on_edge(hint->vertex(Triangulation::ccw(index)),
                     hint->vertex(Triangulation::cw(index)), at);
    case Triangulation::FACE:
      return on_face(hint, at);
    default: {
      hint = nearest_hull_edge(hint, at);
      const int infinite = hint->index(triangulation.infinite_vertex());
      return on_edge(first_end(hint, infinite), last_end(hint, infinite), at);
    }
  }
}

Surface::Surface(const SurfacePoints& points) : impl_(std::make_unique<Impl>(points)) {}
Surface::Surface(Surface&&) noexcept = default;
Surface& Surface::operator=(Surface&&) noexcept = default;
Surface::~Surface() = default;

double Surface::elevation(double easting, double northing) const {
  if (!std::isfinite(easting) || !std::isfinite(northing)) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  return impl_->elevation(Point(easting, northing));
}

}  // namespace quorivex
