// SPDX-License-Identifier: GPL-3.0-or-later
#include "survey/terrain.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "base/free_format.h"
#include "base/report.h"
#include "base/stop_run.h"
#include "base/text_file.h"
#include "base/view1.h"
#include "survey/delimited_text.h"
#include "topography/surface_points.h"
#include "topography/triangulation.h"

namespace quorivex {
namespace {

constexpr std::size_t kHeaderLine = 200;
constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

/// Elevations at nodes: rows from north to south, each from west to east.
struct Grid {
  std::int64_t columns = 0;
  std::int64_t rows = 0;
  double west = 0.0;   // of the first node of a row
  double south = 0.0;  // of the last row
  double size = 0.0;
  std::vector<double> nodes;

  double east() const { return west + size * static_cast<double>(columns - 1); }
  double north() const { return south + size * static_cast<double>(rows - 1); }
  double elevation(double easting, double northing) const;
};

/// The node before a place among `count` nodes, and how far the place lies towards the next one.
struct Between {
  std::int64_t node;
  double part;
};

Between between(double steps, std::int64_t count) {
  const double held = std::clamp(steps, 0.0, static_cast<double>(count - 1));
  const auto node = std::min(static_cast<std::int64_t>(held), count - 2);
  return {node, held - static_cast<double>(node)};
}

double Grid::elevation(double easting, double northing) const {
  const Between e = between((easting - west) / size, columns);
  const Between s = between((north() - northing) / size, rows);
  double sum = 0.0;
  for (const std::int64_t down : {0, 1}) {
    for (const std::int64_t right : {0, 1}) {
      const double weight =
          (right == 1 ? e.part : 1.0 - e.part) * (down == 1 ? s.part : 1.0 - s.part);
      // A node without a value must not spoil places on which it has no influence.
      if (weight > 0.0) sum += weight * nodes[as_size((s.node + down) * columns + e.node + right)];
    }
  }
  return sum;
}

[[noreturn]] void bad_grid(const std::string& name, const std::string& why) {
  stop_run(fmt::format(
      " ERROR reading terrain grid {}: {}.\n"
      " Expected lines ncols, nrows, xllcorner or xllcenter, yllcorner or yllcenter, cellsize, "
      "and\n"
      " NODATA_value if any, with a number each; then nrows x ncols elevations, the northern row "
      "first.",
      name, why));
}

constexpr double kNoData = -9999.0;  // where the header names none

struct GridHeader {
  std::optional<double> columns, rows, x, y, size, no_data;
  bool x_is_corner = false;
  bool y_is_corner = false;
};

GridHeader read_header(TextFile& file, const std::string& name) {
  GridHeader header;
  const auto letter = [](int c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  std::string line;
  while (true) {
    while (file.peek() == ' ' || file.peek() == '\t') file.take();
    if (!letter(file.peek())) return header;
    file.read_line(line, kHeaderLine);
    const std::vector<std::string> fields = split_fields(line, kBlanks);
    const auto value = fields.size() == 2 ? to_number(fields[1]) : std::nullopt;
    if (!value) bad_grid(name, fmt::format("'{}' should be a word and a number", line));
    const std::string key = lower_case(fields[0]);
    if (key == "ncols") {
      header.columns = value;
    } else if (key == "nrows") {
      header.rows = value;
    } else if (key == "xllcorner" || key == "xllcenter") {
      header.x = value;
      header.x_is_corner = key == "xllcorner";
    } else if (key == "yllcorner" || key == "yllcenter") {
      header.y = value;
      header.y_is_corner = key == "yllcorner";
    } else if (key == "cellsize") {
      header.size = value;
    } else if (key == "nodata_value") {
      header.no_data = value;
    } else {
      bad_grid(name, fmt::format("{} is not known", fields[0]));
    }
  }
}

Grid read_grid(const std::string& name, TextFile& file) {
  const GridHeader header = read_header(file, name);
  const auto count = [&](const std::optional<double>& value, const char* what) {
    if (!value || *value != std::floor(*value) || *value < 2.0 || *value > 1e6) {
      bad_grid(name, fmt::format("{} should be a whole number from 2 to a million", what));
    }
    return static_cast<std::int64_t>(*value);
  };
  Grid grid;
  grid.columns = count(header.columns, "ncols");
  grid.rows = count(header.rows, "nrows");
  if (!header.x || !header.y) bad_grid(name, "the lower left corner is missing");
  if (!header.size || !(*header.size > 0.0)) bad_grid(name, "cellsize should be above 0");
  grid.size = *header.size;
  grid.west = *header.x + (header.x_is_corner ? 0.5 * grid.size : 0.0);
  grid.south = *header.y + (header.y_is_corner ? 0.5 * grid.size : 0.0);
  FreeFormat values(file);
  for (std::int64_t i = 0; i < grid.rows * grid.columns; ++i) {  // grows with what is there
    double value = 0.0;
    if (values.next(value) != Read::value) {
      bad_grid(name, fmt::format("elevation {} of {} is missing or no number", i + 1,
                                 grid.rows * grid.columns));
    }
    // Marks of single precision are written with more digits or fewer.
    const bool missing =
        static_cast<float>(value) == static_cast<float>(header.no_data.value_or(kNoData));
    grid.nodes.push_back(missing ? kNoValue : value);
  }
  return grid;
}

Terrain from_grid(Grid grid) {
  const auto shared = std::make_shared<const Grid>(std::move(grid));
  const Grid& g = *shared;
  return {
      [shared](double easting, double northing) { return shared->elevation(easting, northing); },
      g.west,
      g.east(),
      g.south,
      g.north(),
      fmt::format("{} x {} grid", g.columns, g.rows)};
}

Terrain from_points(const SurfacePoints& points) {
  const auto surface = std::make_shared<const Surface>(points);
  const auto [west, east] = std::minmax_element(points.easting.begin(), points.easting.end());
  const auto [south, north] = std::minmax_element(points.northing.begin(), points.northing.end());
  return {[surface](double e, double n) { return surface->elevation(e, n); },
          *west,
          *east,
          *south,
          *north,
          fmt::format("{} points", points.easting.size())};
}

}  // namespace

Terrain read_terrain(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("terrain", name);
  std::string first;
  file->read_line(first, kHeaderLine);
  const bool is_grid = lower_case(trim(first)).starts_with("ncols");
  try {
    if (is_grid) {
      file->rewind();
      return from_grid(read_grid(name, *file));
    }
    Report report;
    return from_points(read_surface_points(name, report));
  } catch (const std::bad_alloc&) {
    alloc_error("read_terrain");
  }
}

}  // namespace quorivex
