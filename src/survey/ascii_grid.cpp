// SPDX-License-Identifier: GPL-3.0-or-later
#include "survey/ascii_grid.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <system_error>
#include <vector>

#include "base/free_format.h"
#include "base/stop_run.h"
#include "survey/delimited_text.h"

namespace quorivex {
namespace {

[[noreturn]] void bad_grid(const std::string& name, const std::string& why) {
  stop_run(fmt::format(
      " ERROR reading terrain grid {}: {}.\n"
      " Expected lines ncols, nrows, xllcorner or xllcenter, yllcorner or yllcenter, cellsize, "
      "and\n"
      " NODATA_value if any, with a number each; then nrows x ncols elevations, the northern row "
      "first.",
      name, why));
}

constexpr std::size_t kHeaderLine = 200;
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

}  // namespace

TerrainGrid read_ascii_grid(const std::string& name, TextFile& file) {
  const GridHeader header = read_header(file, name);
  const auto count = [&](const std::optional<double>& value, const char* what) {
    if (!value || *value != std::floor(*value) || *value < 2.0 ||
        *value > static_cast<double>(kMostNodes)) {
      bad_grid(name, fmt::format("{} should be a whole number from 2 to a million", what));
    }
    return static_cast<std::int64_t>(*value);
  };
  TerrainGrid grid;
  grid.columns = count(header.columns, "ncols");
  grid.rows = count(header.rows, "nrows");
  if (!header.x || !header.y) bad_grid(name, "the lower left corner is missing");
  if (!header.size || !(*header.size > 0.0)) bad_grid(name, "cellsize should be above 0");
  grid.width = grid.height = *header.size;
  grid.west = *header.x + (header.x_is_corner ? 0.5 * grid.width : 0.0);
  grid.south = *header.y + (header.y_is_corner ? 0.5 * grid.height : 0.0);
  const std::int64_t nodes = grid.rows * grid.columns;
  std::error_code unknown;
  if (static_cast<std::uintmax_t>(nodes) > std::filesystem::file_size(name, unknown)) {
    bad_grid(name, fmt::format("the file is too short for {} elevations", nodes));
  }
  FreeFormat values(file);
  for (std::int64_t i = 0; i < nodes; ++i) {
    double value = 0.0;
    if (values.next(value) != Read::value) {
      bad_grid(name, fmt::format("elevation {} of {} is missing or no number", i + 1, nodes));
    }
    // Marks of single precision are written with more digits or fewer.
    const bool missing =
        static_cast<float>(value) == static_cast<float>(header.no_data.value_or(kNoData));
    grid.nodes.push_back(missing ? std::numeric_limits<double>::quiet_NaN() : value);
  }
  double left = 0.0;
  if (values.next(left) != Read::end) {
    bad_grid(name, fmt::format("there is more after its {} elevations", nodes));
  }
  return grid;
}

}  // namespace quorivex
