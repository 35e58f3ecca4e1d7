// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/surface_points.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <tuple>

#include "base/fixed_format.h"
#include "base/free_format.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/terrain/plain_points.h"
#include "workbench/terrain/terrain_grid.h"

namespace quorivex {
namespace {

constexpr std::size_t kCountLine = 40;   // characters of the count line that are read
constexpr std::size_t kBeginning = 200;  // bytes that tell text from other files
constexpr std::int64_t kListed = 1000;   // lines of the list of duplicates

void append(SurfacePoints& points, double easting, double northing, double elevation) {
  append_checked(points.easting, easting);
  append_checked(points.northing, northing);
  append_checked(points.elevation, elevation);
}

[[noreturn]] void bad_file(const std::string& name, const std::string& why) {
  stop_run(without_controls(fmt::format(
      " The topography file {} cannot be used: {}.\n"
      " Its first line should hold the number of points, and each line after it "
      "easting,\n"
      " northing and elevation (m) of one of them; without the number, every line should "
      "be a point.\n"
      " Grids are read where GDAL knows them; lists of other files (VRT) become one with "
      "gdal_translate.\n\n"
      "ERROR reading topography file {}",
      name, why, name)));
}

/// Whether a file begins as text does.
bool is_text(const std::string& name) {
  std::array<char, kBeginning> bytes{};
  std::ifstream file(name, std::ios::binary);
  file.read(bytes.data(), bytes.size());
  return std::none_of(bytes.begin(), bytes.begin() + file.gcount(), [](unsigned char c) {
    return c < ' ' && c != '\t' && c != '\n' && c != '\r' && c != '\f';
  });
}

/// Whether the line of the number of points is rather the first one of a table.
bool holds_a_point(const std::string& line) {
  FreeFormat values(line);
  double easting = 0.0;
  double northing = 0.0;
  double elevation = 0.0;
  return values.read(easting, northing, elevation);
}

/// The first line that is no comment.
bool read_count_line(TextFile& file, std::string& line) {
  do {
    if (!file.read_line(line, kCountLine)) return false;
  } while (line.starts_with('!'));
  return true;
}

SurfacePoints read_counted_points(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) cannot_open("topography", name);
  std::string line;
  if (!read_count_line(*file, line)) bad_file(name, "it has no line with their number");
  std::int32_t npt = 0;
  if (!FreeFormat(line).read(npt) || npt <= 0) {
    bad_file(name, fmt::format("'{}' is not a number of points", trim(line)));
  }

  SurfacePoints points;  // grows with the points that are there, not with the count
  FreeFormat values(*file);
  for (std::int32_t i = 1; i <= npt; ++i) {
    std::array<double, 3> point{};
    for (double& value : point) {
      const Read read = values.next(value);
      if (read == Read::value) continue;
      std::string why =
          read == Read::end
              ? fmt::format("it ends after {} of {} points", i - 1, npt)
              : fmt::format("point {} of {} is not easting, northing and elevation", i, npt);
      if (holds_a_point(line)) why += fmt::format(", or '{}' is a point, not a number", trim(line));
      bad_file(name, why);
    }
    values.next_line();
    append(points, point[0], point[1], point[2]);
  }
  return points;
}

SurfacePoints read_points(const std::string& name) {
  return is_plain_points(name) ? read_plain_points(name) : read_counted_points(name);
}

void refuse_marks(const SurfacePoints& points, const std::string& name) {
  for (std::size_t i = 0; i < points.elevation.size(); ++i) {
    const double value = points.elevation[i];
    if (is_elevation(value)) continue;
    stop_run(fmt::format(
        " ERROR: topography file {}, point {} ({:.10g} E {:.10g} N), has an elevation of {:g} m;\n"
        " {}. Leave points without a value out.",
        name, i + 1, points.easting[i], points.northing[i], value, why_no_elevation(value)));
  }
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

void append_corners(const MapBox& box, const Mesh& mesh, SurfacePoints& points) {
  struct Corner {
    double easting;
    double northing;
    bool outside;
    Nearest nearest = {};
  };
  const MapBox extent = box_of(mesh);
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
    // Widths that overflow make corners without a finite position: those are left out.
    if (corner.outside && corner.nearest.distance > near &&
        std::isfinite(corner.nearest.distance)) {
      append(points, corner.easting, corner.northing, corner.nearest.elevation);
      ++points.appended;
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

bool are_points(const std::string& name) {
  if (!is_text(name)) return false;
  if (is_plain_points(name)) return true;
  std::optional<TextFile> file = TextFile::open(name);
  std::string line;
  std::int32_t npt = 0;
  return file && read_count_line(*file, line) && FreeFormat(line).read(npt);
}

SurfacePoints read_surface_points(const std::string& name, const Mesh& mesh, const Warn& warn) {
  SurfacePoints points = read_points(name);
  refuse_marks(points, name);
  const MapBox box = box_of(points.easting, points.northing);
  check_coverage(box, mesh, warn);
  append_corners(box, mesh, points);
  refuse_duplicates(points);
  return points;
}

SurfacePoints read_surface_points(const std::string& name) {
  SurfacePoints points = read_points(name);
  refuse_marks(points, name);
  refuse_duplicates(points);
  return points;
}

}  // namespace quorivex
