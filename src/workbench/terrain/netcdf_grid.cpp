// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/netcdf_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "base/isolated.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/terrain/netcdf_input.h"

namespace quorivex {
namespace {

constexpr double kUneven = 0.05;       // of a step: coordinates in single precision
constexpr double kMaxDegrees = 360.0;  // what is larger is not an angle, whatever its units say

void expect_metres(const NetcdfInput& file, const NetcdfVariable& variable) {
  const std::string units = file.text(variable, "units");
  const std::string word = units.substr(0, units.find(' '));
  if (word.empty() || word == "m" || word.starts_with("metre") || word.starts_with("meter")) return;
  bad_netcdf(file.name(), fmt::format("the units of {} are '{}', not m", variable.name, units));
}

/// A coordinate at regular steps.
struct Axis {
  std::int64_t nodes = 0;
  double first = 0.0;
  double last = 0.0;

  double lower() const { return std::min(first, last); }
  double step() const { return std::abs(last - first) / static_cast<double>(nodes - 1); }
  bool falls() const { return last < first; }
};

Axis axis_of(const NetcdfInput& file, const NetcdfVariable& coordinate) {
  const std::vector<double> values = file.values(coordinate);
  const Axis axis{length(values), values.front(), values.back()};
  const bool degrees = file.text(coordinate, "units").starts_with("degree");
  if (degrees && std::max(std::abs(axis.first), std::abs(axis.last)) <= kMaxDegrees) {
    bad_netcdf(file.name(), fmt::format("{} is in degrees; project the grid to the coordinates of "
                                        "the survey first (gdalwarp -t_srs)",
                                        coordinate.name));
  }
  // Without a projection GDAL calls metres degrees.
  if (!degrees) expect_metres(file, coordinate);
  const double step = (axis.last - axis.first) / static_cast<double>(axis.nodes - 1);
  for (std::int64_t i = 0; i < axis.nodes; ++i) {
    const double expected = axis.first + step * static_cast<double>(i);
    // Not "greater": a NaN is no coordinate either.
    if (step != 0.0 && std::abs(values[as_size(i)] - expected) <= kUneven * std::abs(step))
      continue;
    bad_netcdf(file.name(), fmt::format("value {} of {}, {:.10g}, is not at a regular step", i + 1,
                                        coordinate.name, values[as_size(i)]));
  }
  return axis;
}

/// A variable of elevations with its coordinates.
struct Layer {
  NetcdfVariable elevation;
  NetcdfVariable northing;
  NetcdfVariable easting;
};

Layer find_layer(const NetcdfInput& file) {
  const std::vector<NetcdfVariable> all = file.variables();
  const auto coordinate = [&](int dimension) {
    const std::string name = file.dimension_name(dimension);
    return std::find_if(all.begin(), all.end(), [&](const NetcdfVariable& v) {
      return v.name == name && v.dimensions == std::vector<int>{dimension} && v.holds_numbers();
    });
  };
  std::vector<Layer> layers;
  std::string names;
  for (const NetcdfVariable& variable : all) {
    if (variable.dimensions.size() != 2 || !variable.holds_numbers()) continue;
    const auto northing = coordinate(variable.dimensions[0]);
    const auto easting = coordinate(variable.dimensions[1]);
    if (northing == all.end() || easting == all.end() || northing == easting) continue;
    layers.push_back({variable, *northing, *easting});
    names += " " + variable.name;
  }
  if (layers.empty()) bad_netcdf(file.name(), "it has no variable over two coordinates");
  if (layers.size() > 1) {
    bad_netcdf(file.name(), fmt::format("it has several variables over two coordinates:{}; write "
                                        "the elevations to a file of their own",
                                        names));
  }
  return layers.front();
}

void expect_easting_last(const NetcdfInput& file, const Layer& layer) {
  const auto is = [&](const NetcdfVariable& v, const char* axis, const char* letter,
                      const char* word) {
    const std::string name = lower_case(v.name);
    return file.text(v, "axis") == axis || name == letter || name == word;
  };
  if (is(layer.northing, "x", "x", "easting") || is(layer.easting, "y", "y", "northing")) {
    bad_netcdf(file.name(),
               fmt::format("{} goes over {}, {}; northing should come first", layer.elevation.name,
                           layer.northing.name, layer.easting.name));
  }
}

/// Marks as NaN what the file marks as missing, and unpacks the rest.
void unpack(const NetcdfInput& file, const NetcdfVariable& variable, std::vector<double>& values) {
  std::vector<double> marks = file.numbers(variable, "_FillValue");
  const std::vector<double> more = file.numbers(variable, "missing_value");
  marks.insert(marks.end(), more.begin(), more.end());
  const auto single = [&](const char* attribute, double without) {
    const std::vector<double> found = file.numbers(variable, attribute);
    return found.empty() ? without : found.front();
  };
  const double factor = single("scale_factor", 1.0);
  const double offset = single("add_offset", 0.0);
  for (double& value : values) {
    const bool marked = std::any_of(marks.begin(), marks.end(), [&](double mark) {
      return static_cast<float>(mark) == static_cast<float>(value);
    });
    value = marked ? std::numeric_limits<double>::quiet_NaN() : factor * value + offset;
  }
}

bool is_classic(const std::string& name) {
  std::array<char, 3> first{};
  std::ifstream(name, std::ios::binary).read(first.data(), first.size());
  return first == std::array{'C', 'D', 'F'};
}

TerrainGrid read_grid(const std::string& name) {
  const NetcdfInput file(name);
  const Layer layer = find_layer(file);
  expect_easting_last(file, layer);
  expect_metres(file, layer.elevation);
  const Axis easting = axis_of(file, layer.easting);
  const Axis northing = axis_of(file, layer.northing);
  TerrainGrid grid;
  grid.columns = easting.nodes;
  grid.rows = northing.nodes;
  grid.west = easting.lower();
  grid.south = northing.lower();
  grid.width = easting.step();
  grid.height = northing.step();
  grid.nodes = file.values(layer.elevation);
  unpack(file, layer.elevation, grid.nodes);
  const auto row = [&](std::int64_t n) { return grid.nodes.begin() + n * grid.columns; };
  if (!northing.falls()) {
    for (std::int64_t n = 0; n < grid.rows / 2; ++n) {
      std::swap_ranges(row(n), row(n + 1), row(grid.rows - 1 - n));
    }
  }
  if (easting.falls()) {
    for (std::int64_t n = 0; n < grid.rows; ++n) std::reverse(row(n), row(n + 1));
  }
  return grid;
}

/// A grid as it goes from one process to another: its place, then its nodes.
struct GridPlace {
  std::int64_t columns, rows;
  double west, south, width, height;
};

void write_grid(const TerrainGrid& grid, const TakeBytes& write) {
  const GridPlace place{grid.columns, grid.rows, grid.west, grid.south, grid.width, grid.height};
  write({reinterpret_cast<const char*>(&place), sizeof(place)});
  write({reinterpret_cast<const char*>(grid.nodes.data()), grid.nodes.size() * sizeof(double)});
}

TerrainGrid grid_of(const std::string& bytes) {
  GridPlace place{};
  std::memcpy(&place, bytes.data(), sizeof(place));
  TerrainGrid grid{.columns = place.columns,
                   .rows = place.rows,
                   .west = place.west,
                   .south = place.south,
                   .width = place.width,
                   .height = place.height,
                   .nodes = {}};
  grid.nodes =
      allocate<double>((bytes.size() - sizeof(place)) / sizeof(double), "read_netcdf_grid");
  std::memcpy(grid.nodes.data(), bytes.data() + sizeof(place), grid.nodes.size() * sizeof(double));
  return grid;
}

}  // namespace

TerrainGrid read_netcdf_grid(const std::string& name) {
  // A classic file has a short header that header_fits checks; the structure of an HDF5 file is
  // known to its library alone, which damage leads beyond its memory.
  if (is_classic(name)) return read_grid(name);
  std::string bytes;
  const bool read =
      in_own_process([&](const TakeBytes& write) { write_grid(read_grid(name), write); },
                     [&](std::string_view more) { bytes.append(more); });
  if (!read) bad_netcdf(name, "it is damaged, so that the library fails on it");
  return grid_of(bytes);
}

}  // namespace quorivex
