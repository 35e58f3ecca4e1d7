// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <netcdf.h>
#include <netcdf_mem.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <utility>

#include "base/isolated.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/model/voxels.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

constexpr const char* kVoxelNetcdf = "read_voxel_netcdf";
constexpr std::uint64_t kNetcdfSeconds = 4;               // of a processor,
constexpr std::uint64_t kNetcdfBytesPerSecond = 100'000;  // and more for long files
constexpr std::uint64_t kNetcdfMemory = 1'000'000'000;    // bytes, and more for long files,
constexpr std::uint64_t kNetcdfMemoryPerByte = 4;         // while nothing is known of the grid
constexpr double kMaxPacked = 1100.0;        // deflated values per byte; 1032 is what zlib reaches
constexpr std::size_t kMaxAttribute = 1000;  // characters

[[noreturn]] void bad_voxels(const std::string& file, const std::string& why) {
  stop_run(without_controls(fmt::format(
      " ERROR reading {}: {}.\n"
      " Expected a netCDF file with variables over three coordinates (m): easting, northing and\n"
      " elevation (or depth, positive down), each with a variable of its own name.",
      file, why)));
}

/// The shortest decimal number of a float: 0.008, not 0.00800000037997961.
void shorten(double& value) {
  if (!std::isfinite(value)) return;
  value = std::strtod(fmt::format("{}", static_cast<float>(value)).c_str(), nullptr);
}

/// A file that is open in memory: there the library refuses to read beyond the end of a file cut
/// short, instead of taking zeros.
class VoxelFile {
 public:
  explicit VoxelFile(const std::string& file) : file_(file) {
    bytes_ = allocate<char>(std::filesystem::file_size(file), kVoxelNetcdf);
    std::ifstream(file, std::ios::binary).read(bytes_.data(), length(bytes_));
    need(nc_open_mem("voxels.nc", NC_NOWRITE, bytes_.size(), bytes_.data(), &id_));
  }
  VoxelFile(const VoxelFile&) = delete;
  VoxelFile& operator=(const VoxelFile&) = delete;
  ~VoxelFile() { nc_close(id_); }

  [[noreturn]] void fail(const std::string& why) const { bad_voxels(file_, why); }
  void need(int status) const {
    if (status != NC_NOERR) fail(std::string("it is damaged or cut short: ") + nc_strerror(status));
  }

  /// Nothing where there is no such variable of numbers.
  std::optional<int> variable(const std::string& name) const {
    int id = 0;
    nc_type type = NC_NAT;
    if (nc_inq_varid(id_, name.c_str(), &id) != NC_NOERR) return std::nullopt;
    need(nc_inq_vartype(id_, id, &type));
    if (type == NC_CHAR || type >= NC_STRING || type <= NC_NAT) return std::nullopt;
    return id;
  }
  std::vector<int> dimensions(int variable) const {
    int rank = 0;
    need(nc_inq_varndims(id_, variable, &rank));
    std::vector<int> dimensions(as_size(rank));
    need(nc_inq_vardimid(id_, variable, dimensions.data()));
    return dimensions;
  }
  std::string dimension_name(int dimension) const {
    std::array<char, NC_MAX_NAME + 1> text{};
    need(nc_inq_dimname(id_, dimension, text.data()));
    return text.data();
  }

  /// All values of a variable, the last dimension fastest, after a look whether a file of this
  /// length can hold them.
  std::vector<double> values(int variable) const {
    double count = 1.0;
    for (const int dimension : dimensions(variable)) {
      std::size_t nodes = 0;
      need(nc_inq_dimlen(id_, dimension, &nodes));
      count *= static_cast<double>(nodes);
    }
    if (!(count <= kMaxPacked * static_cast<double>(bytes_.size()))) {
      fail(fmt::format("{:g} values are more than {} bytes can hold", count, bytes_.size()));
    }
    limit_memory({});  // now it is known what the values need
    auto values = allocate<double>(static_cast<std::size_t>(count), kVoxelNetcdf);
    if (!values.empty()) need(nc_get_var_double(id_, variable, values.data()));
    nc_type type = NC_NAT;
    need(nc_inq_vartype(id_, variable, &type));
    if (type == NC_FLOAT) std::for_each(values.begin(), values.end(), shorten);
    return values;
  }

  /// The text of an attribute; empty where there is none.
  std::string text(int variable, const char* attribute) const {
    nc_type type = NC_NAT;
    std::size_t size = 0;
    if (nc_inq_att(id_, variable, attribute, &type, &size) != NC_NOERR || type != NC_CHAR ||
        size > kMaxAttribute) {
      return {};
    }
    std::string text(size, '\0');
    need(nc_get_att_text(id_, variable, attribute, text.data()));
    return std::string(trim(text.substr(0, text.find('\0'))));
  }
  /// Nothing where there is no such attribute.
  std::optional<double> number(int variable, const char* attribute) const {
    nc_type type = NC_NAT;
    std::size_t size = 0;
    if (nc_inq_att(id_, variable, attribute, &type, &size) != NC_NOERR) return std::nullopt;
    if (size != 1 || type == NC_CHAR || type >= NC_STRING) {
      fail(fmt::format("the attribute {} of a variable is not a number", attribute));
    }
    double number = 0.0;
    need(nc_get_att_double(id_, variable, attribute, &number));
    return number;
  }

 private:
  const std::string& file_;
  std::vector<char> bytes_;
  int id_ = 0;
};

/// Which axis a coordinate is: 0 easting, 1 northing, 2 elevation; nothing where nothing says so.
std::optional<std::size_t> axis_of(const VoxelFile& file, int coordinate, const std::string& name,
                                   const SourceColumns& columns) {
  constexpr std::array kAxes{"easting", "northing", "elevation"};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto given = columns.names.find(kAxes[axis]);
    if (given != columns.names.end() && given->second == name) return axis;
  }
  const std::string word = lower_case(name);
  const std::string letter = file.text(coordinate, "axis");
  const auto is = [&](const char* axis, std::initializer_list<const char*> names) {
    return letter == axis ||
           (letter.empty() && std::find(names.begin(), names.end(), word) != names.end());
  };
  if (is("X", {"easting", "east", "x"})) return 0;
  if (is("Y", {"northing", "north", "y"})) return 1;
  if (is("Z", {"elevation", "elev", "z", "rl", "altitude", "height", "depth"})) return 2;
  return std::nullopt;
}

/// The spans along a coordinate: its bounds, or halfway between its values.
std::vector<Span> spans_along(const VoxelFile& file, int coordinate, const std::string& name) {
  const std::vector<double> values = file.values(coordinate);
  const std::string units = file.text(coordinate, "units");
  const std::string unit = lower_case(units.substr(0, units.find(' ')));
  if (!unit.empty() && unit != "m" && !unit.starts_with("metre") && !unit.starts_with("meter")) {
    file.fail(fmt::format("the units of {} are '{}', not m", name, excerpt(units)));
  }
  std::vector<Span> spans;
  const std::string bounds = file.text(coordinate, "bounds");
  const auto of_bounds = bounds.empty() ? std::nullopt : file.variable(bounds);
  const std::vector<double> faces = of_bounds ? file.values(*of_bounds) : std::vector<double>();
  if (of_bounds ? faces.size() != 2 * values.size() : values.size() < 2) {
    file.fail(of_bounds ? fmt::format("{} does not have two values for each of {}", bounds, name)
                        : fmt::format("{} has {} values and no bounds", name, values.size()));
  }
  for (std::size_t n = 0; n < values.size(); ++n) {
    double low = 0.0;
    double high = 0.0;
    if (of_bounds) {
      low = faces[2 * n];
      high = faces[2 * n + 1];
    } else {
      const double before = n == 0 ? 2.0 * values[0] - values[1] : values[n - 1];
      const double after = n + 1 == values.size() ? 2.0 * values[n] - values[n - 1] : values[n + 1];
      low = 0.5 * (before + values[n]);
      high = 0.5 * (values[n] + after);
    }
    if (low > high) std::swap(low, high);
    // Not "greater": a NaN is no coordinate either.
    if (!(high - low > 0.0 && low >= -kMaxCoordinate && high <= kMaxCoordinate)) {
      file.fail(fmt::format("value {} of {}, {:.10g}, is from {:.10g} to {:.10g}", n + 1, name,
                            values[n], low, high));
    }
    spans.push_back({low, high});
  }
  return spans;
}

/// A coordinate of the variables, in the order of their dimensions.
struct Coordinate {
  int dimension = 0;
  std::size_t axis = 0;
  std::vector<Span> spans;
};

std::vector<Coordinate> coordinates_of(const VoxelFile& file, int variable,
                                       const std::string& variable_name,
                                       const SourceColumns& columns) {
  std::vector<Coordinate> coordinates;
  std::array<bool, 3> has{};
  for (const int dimension : file.dimensions(variable)) {
    const std::string name = file.dimension_name(dimension);
    const auto coordinate = file.variable(name);
    if (!coordinate || file.dimensions(*coordinate) != std::vector<int>{dimension}) {
      file.fail(fmt::format("{} is over {}, which has no coordinates", variable_name, name));
    }
    const auto axis = axis_of(file, *coordinate, name, columns);
    if (!axis || has[*axis]) {
      file.fail(
          fmt::format("{} is over {}, which is not known as {}", variable_name, name,
                      axis ? "another axis than one before it" : "easting, northing or elevation"));
    }
    has[*axis] = true;
    std::vector<Span> spans = spans_along(file, *coordinate, name);
    std::string positive = lower_case(file.text(*coordinate, "positive"));
    if (positive.empty() && lower_case(name) == "depth") positive = "down";
    if (*axis == 2 && positive == "down") {
      for (Span& span : spans) span = {-span.high, -span.low};
    }
    coordinates.push_back({dimension, *axis, std::move(spans)});
  }
  if (coordinates.size() != 3) {
    file.fail(fmt::format("{} is over {} coordinates", variable_name, coordinates.size()));
  }
  return coordinates;
}

/// The values of a variable, NaN where the file marks them as missing.
std::vector<double> unpacked_values(const VoxelFile& file, int variable) {
  std::vector<double> values = file.values(variable);
  const auto fill = file.number(variable, "_FillValue");
  const auto missing = file.number(variable, "missing_value");
  const double factor = file.number(variable, "scale_factor").value_or(1.0);
  const double offset = file.number(variable, "add_offset").value_or(0.0);
  if (!(std::isfinite(factor) && factor != 0.0 && std::isfinite(offset))) {
    file.fail(fmt::format("scale_factor is {:g}, add_offset {:g}", factor, offset));
  }
  const auto is = [](const std::optional<double>& mark, double value) {
    return mark && static_cast<float>(*mark) == static_cast<float>(value);
  };
  for (double& value : values) {
    const bool marked = std::isnan(value) || is(fill, value) || is(missing, value) ||
                        (value >= NC_FILL_FLOAT && std::isfinite(value));
    value = marked ? std::numeric_limits<double>::quiet_NaN() : factor * value + offset;
  }
  return values;
}

void write_numbers(const std::vector<double>& numbers, const TakeBytes& write) {
  write({reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(double)});
}

/// Writes what is wanted of the file, all as doubles: of each dimension its axis, its length, its
/// spans; then the values.
void write_voxels(const std::string& name, const SourceColumns& columns,
                  const std::vector<std::string>& wanted, const TakeBytes& write) {
  const std::uint64_t bytes = std::filesystem::file_size(name);
  limit_seconds(kNetcdfSeconds + bytes / kNetcdfBytesPerSecond);
  limit_memory(kNetcdfMemory + kNetcdfMemoryPerByte * bytes);
  const VoxelFile file(name);
  std::vector<int> dimensions;
  for (const std::string& column : wanted) {
    const auto variable = file.variable(column);
    if (!variable) file.fail(fmt::format("it has no variable of numbers {}", excerpt(column)));
    if (dimensions.empty()) {
      dimensions = file.dimensions(*variable);
      for (const Coordinate& along : coordinates_of(file, *variable, column, columns)) {
        std::vector<double> head{static_cast<double>(along.axis),
                                 static_cast<double>(along.spans.size())};
        for (const Span& span : along.spans) head.insert(head.end(), {span.low, span.high});
        write_numbers(head, write);
      }
    } else if (file.dimensions(*variable) != dimensions) {
      file.fail(fmt::format("{} is over other coordinates than {}", excerpt(column),
                            excerpt(wanted.front())));
    }
    write_numbers(unpacked_values(file, *variable), write);
  }
}

/// Takes the voxels from what write_voxels wrote.
Voxels voxels_of(const std::string& file, std::string_view bytes, std::size_t wanted,
                 std::int64_t& missing) {
  const auto number = [&](std::size_t n) {
    double found = 0.0;
    std::memcpy(&found, bytes.data() + n * sizeof(double), sizeof(double));
    return found;
  };
  Voxels voxels;
  voxels.file = file;
  voxels.values.resize(wanted);
  std::array<std::size_t, 3> axes{};
  std::array<std::size_t, 3> sizes{};
  std::size_t next = 0;
  for (std::size_t d = 0; d < 3; ++d, next += 2) {
    axes[d] = static_cast<std::size_t>(number(next));
    sizes[d] = static_cast<std::size_t>(number(next + 1));
    for (std::size_t n = 0; n < sizes[d]; ++n, next += 2) {
      voxels.spans[axes[d]].push_back({number(next + 2), number(next + 3)});
    }
  }
  const std::size_t count = sizes[0] * sizes[1] * sizes[2];
  if (count > as_size(std::numeric_limits<std::int32_t>::max())) {
    bad_voxels(file, fmt::format("{} voxels are more than can be used", count));
  }
  std::vector<double> values(wanted);
  for (std::size_t n = 0; n < count; ++n) {
    for (std::size_t c = 0; c < wanted; ++c) {
      values[c] = number(next + c * count + n);
      if (std::abs(values[c]) <= kMaxSourceValue || std::isnan(values[c])) continue;
      bad_voxels(file, fmt::format("value {} is {:g}; numbers from {:g} to {:g} are expected",
                                   n + 1, values[c], -kMaxSourceValue, kMaxSourceValue));
    }
    if (std::any_of(values.begin(), values.end(), [](double v) { return std::isnan(v); })) {
      ++missing;
      continue;
    }
    std::array<std::int32_t, 3> at{};
    at[axes[0]] = static_cast<std::int32_t>(n / (sizes[1] * sizes[2]));
    at[axes[1]] = static_cast<std::int32_t>(n / sizes[2] % sizes[1]);
    at[axes[2]] = static_cast<std::int32_t>(n % sizes[2]);
    append_checked(voxels.at, at);
    for (std::size_t c = 0; c < wanted; ++c) append_checked(voxels.values[c], values[c]);
  }
  return voxels;
}

}  // namespace

bool is_netcdf_file(const std::string& file) {
  std::array<char, 4> bytes{};
  std::ifstream(file, std::ios::binary).read(bytes.data(), bytes.size());
  const std::string_view begins(bytes.data(), bytes.size());
  return begins.starts_with("CDF") || begins == "\x89HDF";
}

Voxels read_voxel_netcdf(const std::string& file, const SourceColumns& columns,
                         SourceNotes& notes) {
  return with_alloc_label(kVoxelNetcdf, [&] {
    std::vector<std::string> wanted = columns.values;
    if (!columns.unit.empty()) wanted.push_back(columns.unit);
    std::string bytes;
    const bool read =
        in_own_process([&](const TakeBytes& write) { write_voxels(file, columns, wanted, write); },
                       [&](std::string_view more) {
                         if (bytes.size() + more.size() > bytes.capacity()) {
                           require_available_memory(2 * bytes.capacity());
                         }
                         bytes.append(more);
                       });
    if (!read) bad_voxels(file, "it is damaged, so that the library fails on it");
    std::int64_t missing = 0;
    Voxels voxels = voxels_of(file, bytes, wanted.size(), missing);
    notes.remarks.push_back(fmt::format("{}: {} voxels, {} left out as marked missing", file,
                                        voxels.at.size(), missing));
    if (voxels.at.empty()) bad_voxels(file, "every voxel is marked as missing");
    if (!columns.unit.empty()) {
      for (const double code : voxels.values.back()) {
        append_checked(voxels.units, fmt::format("{}", code));
      }
      voxels.values.pop_back();
    }
    return voxels;
  });
}

}  // namespace quorivex
