// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/surface_points.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <tuple>

#include "base/fixed_format.h"
#include "base/free_format.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::size_t kCountLine = 40;  // characters of the count line that are looked at
constexpr std::int64_t kListed = 1000;  // lines of the list of duplicates

struct Box {
  double west;
  double east;
  double south;
  double north;
};

Box box_of(const SurfacePoints& points) {
  const auto [west, east] = std::minmax_element(points.easting.begin(), points.easting.end());
  const auto [south, north] = std::minmax_element(points.northing.begin(), points.northing.end());
  return {*west, *east, *south, *north};
}

Box box_of(const Mesh& mesh) {
  return {mesh.easting_nodes.front(), mesh.easting_nodes.back(), mesh.northing_nodes.front(),
          mesh.northing_nodes.back()};
}

void append(SurfacePoints& points, double easting, double northing, double elevation) {
  points.easting.push_back(easting);
  points.northing.push_back(northing);
  points.elevation.push_back(elevation);
}

SurfacePoints read_points(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("topography", name);
  const auto need = [&](bool read) {
    if (!read) {
      stop_run(
          fmt::format("ERROR reading topography file {}\n"
                      " Expected the number of points, and then easting, northing and elevation on "
                      "a line each.",
                      name));
    }
  };
  std::string line;
  do {
    need(file->read_line(line, kCountLine));
  } while (line.starts_with('!'));
  std::int32_t npt = 0;
  need(FreeFormat(line).read(npt) && npt > 0);

  SurfacePoints points;  // grows with the points that are there, not with the count
  FreeFormat values(*file);
  for (std::int32_t i = 1; i <= npt; ++i) {
    double easting = 0.0;
    double northing = 0.0;
    double elevation = 0.0;
    need(values.read(easting, northing, elevation));
    values.next_line();
    append(points, easting, northing, elevation);
  }
  return points;
}

/// The fraction of the mesh, `extent`, that lies in the box of the points.
double coverage(const Box& box, const Box& extent) {
  if (box.west >= extent.east || box.east <= extent.west || box.south >= extent.north ||
      box.north <= extent.south) {
    stop_run("Error: Topography is outside the mesh.");
  }
  const double easting = std::min(box.east, extent.east) - std::max(box.west, extent.west);
  const double northing = std::min(box.north, extent.north) - std::max(box.south, extent.south);
  return (northing * easting) / ((extent.north - extent.south) * (extent.east - extent.west));
}

struct Nearest {
  double distance = std::numeric_limits<double>::infinity();
  double elevation = 0.0;
};

/// The first of the points that are nearest to a corner.
Nearest nearest_point(const SurfacePoints& points, double easting, double northing) {
  Nearest nearest;
  for (std::size_t i = 0; i < points.easting.size(); ++i) {
    const double distance = std::hypot(points.easting[i] - easting, points.northing[i] - northing);
    if (distance < nearest.distance) nearest = {distance, points.elevation[i]};
  }
  return nearest;
}

void append_corners(const Box& box, const Mesh& mesh, SurfacePoints& points) {
  struct Corner {
    double easting;
    double northing;
    bool outside;
    Nearest nearest = {};
  };
  const Box extent = box_of(mesh);
  const bool west = box.west > extent.west;
  const bool east = box.east < extent.east;
  const bool south = box.south > extent.south;
  const bool north = box.north < extent.north;
  std::array<Corner, 4> corners{{{extent.west, extent.south, west && south},
                                 {extent.west, extent.north, west && north},
                                 {extent.east, extent.south, east && south},
                                 {extent.east, extent.north, east && north}}};
  // All searches before the first corner is added: corners are not neighbours of each other.
  for (Corner& corner : corners) {
    if (corner.outside) corner.nearest = nearest_point(points, corner.easting, corner.northing);
  }
  const double near = 0.25 * std::min(mesh.dn.front(), mesh.de.front());
  for (const Corner& corner : corners) {
    // A mesh whose widths overflow has corners that are no place: those are left out.
    if (corner.outside && corner.nearest.distance > near &&
        std::isfinite(corner.nearest.distance)) {
      append(points, corner.easting, corner.northing, corner.nearest.elevation);
    }
  }
}

struct IndexedPoint {
  double easting;
  double northing;
  std::size_t point;

  bool same_as(const IndexedPoint& other) const {
    return easting == other.easting && northing == other.northing;
  }
};

/// The points by easting, northing and order in the file.
std::vector<IndexedPoint> sorted_points(const SurfacePoints& points) {
  std::vector<IndexedPoint> places;
  places.reserve(points.easting.size());
  for (std::size_t i = 0; i < points.easting.size(); ++i) {
    places.push_back({points.easting[i], points.northing[i], i});
  }
  std::sort(places.begin(), places.end(), [](const IndexedPoint& a, const IndexedPoint& b) {
    return std::tie(a.easting, a.northing, a.point) < std::tie(b.easting, b.northing, b.point);
  });
  return places;
}

/// Lists the second point of each pair that shares a place, up to kListed, and ends the run if
/// there is one. Pairs beyond the list are counted a place at a time, so that a million points in
/// one place take no longer than elsewhere.
void refuse_duplicates(const SurfacePoints& points) {
  const std::vector<IndexedPoint> places = sorted_points(points);
  std::string list;
  std::int64_t listed = 0;
  std::int64_t pairs = 0;
  for (auto first = places.begin(); first != places.end();) {
    const auto last = std::find_if(
        first, places.end(), [&](const IndexedPoint& place) { return !place.same_as(*first); });
    const std::int64_t here = std::distance(first, last);
    pairs += here * (here - 1) / 2;
    for (auto one = first; one != last && listed < kListed; ++one) {
      for (auto other = one + 1; other != last && listed < kListed; ++other, ++listed) {
        list += fixed(other->easting, 16, 4) + fixed(other->northing, 16, 4) +
                fixed(points.elevation[other->point], 14, 4) + "\n";
      }
    }
    first = last;
  }
  if (pairs == 0) return;
  if (pairs > listed) list += fmt::format("and {} more\n", pairs - listed);
  stop_run(fmt::format(
      "Duplicate points:\n{}\nError: {} duplicate points found in topography file.", list, pairs));
}

}  // namespace

SurfacePoints read_surface_points(const std::string& name, const Mesh& mesh) {
  SurfacePoints points = read_points(name);
  const Box box = box_of(points);
  if (0.3 > coverage(box, box_of(mesh))) {
    points.warnings.emplace_back("Topography region is not large enough.");
  }
  append_corners(box, mesh, points);
  refuse_duplicates(points);
  return points;
}

SurfacePoints read_surface_points(const std::string& name) {
  SurfacePoints points = read_points(name);
  refuse_duplicates(points);
  return points;
}

}  // namespace quorivex
