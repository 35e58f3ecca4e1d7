// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/ascii_grid.h"

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
#include "base/text.h"
#include "workbench/tables/delimited_text.h"

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
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct GridHeader {
  std::optional<double> columns, rows, x, y, size, no_data;
  bool x_is_corner = false;
  bool y_is_corner = false;
};

bool is_nan(const std::string& text) {
  const std::string lower = lower_case(text);
  return lower == "nan" || lower == "+nan" || lower == "-nan";
}

/// Whether the node is one without a value. Marks of single precision are written with more digits
/// or fewer.
bool is_marked(double value, double mark) {
  return std::isnan(mark) ? std::isnan(value)
                          : static_cast<float>(value) == static_cast<float>(mark);
}

[[noreturn]] void bad_node(const std::string& name, double value, std::int64_t number,
                           std::int64_t nodes, const std::optional<double>& no_data) {
  const std::string node = fmt::format("elevation {} of {}", number, nodes);
  if (!std::isnan(value)) bad_grid(name, node + " is missing or not a number");
  bad_grid(name, fmt::format("{} is nan. Where this marks places without a value, {}", node,
                             no_data ? fmt::format("write NODATA_value, {}, in its place", *no_data)
                                     : "name it in the header: NODATA_value nan"));
}

GridHeader read_header(TextFile& file, const std::string& name) {
  GridHeader header;
  const auto letter = [](int c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  std::string line;
  for (int lines = 0;; ++lines) {
    while (file.peek() == ' ' || file.peek() == '\t') file.take();
    if (!letter(file.peek())) return header;
    file.read_line(line, kHeaderLine);
    if (is_nan(line.substr(0, line.find_first_of(" \t\r,")))) {  // the first of the elevations
      file.rewind();
      for (int before = 0; before < lines; ++before) file.skip_line();
      return header;
    }
    const std::vector<std::string> fields = split_fields(line, kBlanks);
    auto value = fields.size() == 2 ? to_number(fields[1]) : std::nullopt;
    const std::string key = fields.empty() ? "" : lower_case(fields[0]);
    if (key == "nodata_value" && fields.size() == 2 && is_nan(fields[1])) value = kNan;
    if (!value) bad_grid(name, fmt::format("'{}' should be a word and a number", line));
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
        *value > static_cast<double>(kMaxNodes)) {
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
    const bool read = values.next(value) == Read::value;
    // A nan is not a number to the reader, but may be the mark.
    const bool marked =
        (read || std::isnan(value)) && is_marked(value, header.no_data.value_or(kNoData));
    if (!read && !marked) bad_node(name, value, i + 1, nodes, header.no_data);
    grid.nodes.push_back(marked ? kNan : value);
  }
  double left = 0.0;
  if (values.next(left) != Read::end) {
    bad_grid(name, fmt::format("there is more after its {} elevations", nodes));
  }
  return grid;
}

}  // namespace quorivex
