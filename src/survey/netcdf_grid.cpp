// SPDX-License-Identifier: GPL-3.0-or-later
#include "survey/netcdf_grid.h"

#include <fmt/format.h>
#include <netcdf.h>
#include <netcdf_mem.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <utility>
#include <vector>

#include "base/stop_run.h"
#include "base/view1.h"
#include "survey/delimited_text.h"
#include "survey/netcdf_header.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "read_netcdf_grid";
constexpr double kMostPacked = 1100.0;      // deflated values a byte; 1032 is what zlib reaches
constexpr double kUneven = 0.05;            // of a step: coordinates in single precision
constexpr double kMostDegrees = 360.0;      // what is larger is no angle, whatever its units say
constexpr std::size_t kLongestText = 1000;  // of an attribute

[[noreturn]] void bad_netcdf(const std::string& name, const std::string& why) {
  stop_run(fmt::format(
      " ERROR reading terrain grid {}: {}.\n"
      " Expected a netCDF file with one variable of elevations (m) over northing and easting, as\n"
      " GMT and GDAL write it, and for both a variable of coordinates (m) at regular steps.",
      name, why));
}

std::vector<char> bytes_of(const std::string& name) {
  std::error_code failed;
  const std::uintmax_t size = std::filesystem::file_size(name, failed);
  std::ifstream file(name, std::ios::binary);
  if (failed || !file) bad_netcdf(name, "it cannot be opened");
  std::vector<char> bytes = allocate<char>(size, kRoutine);
  file.read(bytes.data(), length(bytes));
  if (file.gcount() != length(bytes)) bad_netcdf(name, "it cannot be read");
  return bytes;
}

/// A variable, with the dimensions that it spans.
struct Variable {
  int id = 0;
  std::string name;
  nc_type type = NC_NAT;
  std::vector<int> dimensions;
};

/// A netCDF file in memory: there the library refuses to read beyond the end of a file cut short,
/// instead of taking zeros.
class NetcdfFile {
 public:
  explicit NetcdfFile(const std::string& name) : name_(name), bytes_(bytes_of(name)) {
    if (!header_fits({bytes_.data(), bytes_.size()})) {
      bad_netcdf(name, "its header is damaged or cut short");
    }
    need(nc_open_mem("terrain.nc", NC_NOWRITE, bytes_.size(), bytes_.data(), &id_));
    open_ = true;
  }
  NetcdfFile(const NetcdfFile&) = delete;
  NetcdfFile& operator=(const NetcdfFile&) = delete;
  ~NetcdfFile() {
    if (open_) nc_close(id_);
  }

  const std::string& name() const { return name_; }

  std::vector<Variable> variables() const {
    int count = 0;
    need(nc_inq_nvars(id_, &count));
    std::vector<Variable> all;
    for (int v = 0; v < count; ++v) {
      std::array<char, NC_MAX_NAME + 1> text{};
      Variable variable{.id = v, .name = {}, .type = NC_NAT, .dimensions = {}};
      int rank = 0;
      need(nc_inq_varndims(id_, v, &rank));
      variable.dimensions.resize(as_size(rank));
      need(nc_inq_var(id_, v, text.data(), &variable.type, nullptr, variable.dimensions.data(),
                      nullptr));
      variable.name = text.data();
      all.push_back(std::move(variable));
    }
    return all;
  }

  std::string dimension_name(int dimension) const {
    std::array<char, NC_MAX_NAME + 1> text{};
    need(nc_inq_dimname(id_, dimension, text.data()));
    return text.data();
  }

  /// The number of nodes along a dimension, or the reason why there is no grid.
  std::int64_t nodes(int dimension) const {
    std::size_t nodes = 0;
    need(nc_inq_dimlen(id_, dimension, &nodes));
    if (nodes < 2 || nodes > as_size(kMostNodes)) {
      bad_netcdf(name_, fmt::format("{} has {} nodes; from 2 to a million are expected",
                                    dimension_name(dimension), nodes));
    }
    return static_cast<std::int64_t>(nodes);
  }

  /// All values of a variable, after a look whether a file of this size can hold them.
  std::vector<double> values(const Variable& variable) const {
    double count = 1.0;
    for (const int dimension : variable.dimensions) {
      count *= static_cast<double>(nodes(dimension));
    }
    std::vector<std::size_t> piece(variable.dimensions.size(), 1);
    int storage = NC_CONTIGUOUS;
    need(nc_inq_var_chunking(id_, variable.id, &storage, piece.data()));
    double in_piece = 1.0;
    if (storage == NC_CHUNKED) {
      for (const std::size_t side : piece) in_piece *= static_cast<double>(side);
    }
    if (std::max(count, in_piece) > kMostPacked * static_cast<double>(bytes_.size())) {
      bad_netcdf(name_, fmt::format("{} should have {:g} values, which {} bytes cannot hold",
                                    variable.name, count, bytes_.size()));
    }
    auto values = allocate<double>(static_cast<std::size_t>(count), kRoutine);
    need(nc_get_var_double(id_, variable.id, values.data()));
    return values;
  }

  /// The text of an attribute in small letters; empty where there is none.
  std::string text(const Variable& variable, const char* attribute) const {
    nc_type type = NC_NAT;
    std::size_t size = 0;
    if (nc_inq_att(id_, variable.id, attribute, &type, &size) != NC_NOERR || size == 0) return {};
    if (type == NC_STRING && size == 1) {
      char* string = nullptr;
      need(nc_get_att_string(id_, variable.id, attribute, &string));
      std::string text = string == nullptr ? "" : string;
      nc_free_string(1, &string);
      return lower_case(trim(text));
    }
    if (type != NC_CHAR || size > kLongestText) {
      bad_netcdf(name_, fmt::format("{} of {} is no text", attribute, variable.name));
    }
    std::string text(size, '\0');
    need(nc_get_att_text(id_, variable.id, attribute, text.data()));
    return lower_case(trim(text.substr(0, text.find('\0'))));
  }

  /// The numbers of an attribute; none where there is none.
  std::vector<double> numbers(const Variable& variable, const char* attribute) const {
    nc_type type = NC_NAT;
    std::size_t size = 0;
    if (nc_inq_att(id_, variable.id, attribute, &type, &size) != NC_NOERR) return {};
    if (type == NC_CHAR || type >= NC_STRING || size > kLongestText) {
      bad_netcdf(name_, fmt::format("{} of {} is no number", attribute, variable.name));
    }
    std::vector<double> numbers(size);
    if (size > 0) need(nc_get_att_double(id_, variable.id, attribute, numbers.data()));
    return numbers;
  }

 private:
  void need(int status) const {
    if (status == NC_NOERR) return;
    bad_netcdf(name_, fmt::format("it is damaged or cut short ({})", nc_strerror(status)));
  }

  std::string name_;
  std::vector<char> bytes_;
  int id_ = 0;
  bool open_ = false;
};

bool holds_numbers(const Variable& variable) {
  return variable.type != NC_CHAR && variable.type < NC_STRING;
}

void expect_metres(const NetcdfFile& file, const Variable& variable) {
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

Axis axis_of(const NetcdfFile& file, const Variable& coordinate) {
  const std::vector<double> values = file.values(coordinate);
  const Axis axis{length(values), values.front(), values.back()};
  const bool degrees = file.text(coordinate, "units").starts_with("degree");
  if (degrees && std::max(std::abs(axis.first), std::abs(axis.last)) <= kMostDegrees) {
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
  Variable elevation;
  Variable northing;
  Variable easting;
};

Layer find_layer(const NetcdfFile& file) {
  const std::vector<Variable> all = file.variables();
  const auto coordinate = [&](int dimension) {
    const std::string name = file.dimension_name(dimension);
    return std::find_if(all.begin(), all.end(), [&](const Variable& v) {
      return v.name == name && v.dimensions == std::vector<int>{dimension} && holds_numbers(v);
    });
  };
  std::vector<Layer> layers;
  std::string names;
  for (const Variable& variable : all) {
    if (variable.dimensions.size() != 2 || !holds_numbers(variable)) continue;
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

void expect_easting_last(const NetcdfFile& file, const Layer& layer) {
  const auto is = [&](const Variable& v, const char* axis, const char* letter, const char* word) {
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
void unpack(const NetcdfFile& file, const Variable& variable, std::vector<double>& values) {
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

}  // namespace

TerrainGrid read_netcdf_grid(const std::string& name) {
  const NetcdfFile file(name);
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

}  // namespace quorivex
