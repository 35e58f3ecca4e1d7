// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/plain_points.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string_view>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"
#include "workbench/geometry/map_box.h"
#include "workbench/tables/delimited_text.h"
#include "workbench/tables/row_faults.h"
#include "workbench/terrain/terrain_grid.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxLine = 100'000;
constexpr double kDegreesWide = 10.0;  // no terrain of a survey in metres is that narrow

using Fields = std::vector<std::string>;

/// The lines of a list of points without comments and blank lines.
class PointLines {
 public:
  explicit PointLines(const std::string& name) : name_(name), file_(TextFile::open(name)) {
    if (!file_) cannot_open("topography", name);
  }

  bool next() {
    while (file_->read_line(line_, kMaxLine)) {
      ++number_;
      if (line_.size() == kMaxLine) refuse("is longer than a hundred thousand characters");
      const std::string_view text = trim(line_);
      if (!text.empty() && text.front() != '!' && text.front() != '#') return true;
    }
    return false;
  }

  const std::string& line() const { return line_; }
  Fields fields() const { return split_fields(line_, guess_separator(line_)); }

  [[noreturn]] void refuse(const std::string& why) const {
    stop_run(fmt::format(" ERROR: topography file {}, line {}, {}:\n    {}", name_, number_, why,
                         excerpt(line_)));
  }

 private:
  std::string name_;
  std::optional<TextFile> file_;
  std::string line_;
  std::int64_t number_ = 0;
};

bool is_number(const std::string& field) { return to_number(field).has_value(); }

bool holds_three_numbers(const Fields& fields) {
  return std::count_if(fields.begin(), fields.end(), is_number) >= 3;
}

bool begins_with_point(const Fields& fields) {
  return fields.size() >= 3 && std::all_of(fields.begin(), fields.begin() + 3, is_number);
}

/// The word that a column's name begins with, in small letters: "easting" of "Easting_m".
std::string first_word(const std::string& name) {
  const auto is_letter = [](unsigned char c) { return std::isalpha(c) != 0; };
  return lower_case({name.begin(), std::find_if_not(name.begin(), name.end(), is_letter)});
}

/// The first column that is called one of these words.
template <std::size_t n>
std::optional<std::size_t> find_column(const Fields& heading,
                                       const std::array<std::string_view, n>& words) {
  const auto at = std::find_if(heading.begin(), heading.end(), [&](const std::string& name) {
    return std::find(words.begin(), words.end(), first_word(name)) != words.end();
  });
  if (at == heading.end()) return std::nullopt;
  return static_cast<std::size_t>(at - heading.begin());
}

/// Of easting, northing and elevation, from 0.
using Columns = std::array<std::size_t, 3>;

[[noreturn]] void refuse_degrees(const std::string& name) {
  stop_run(
      fmt::format(" ERROR: topography file {} holds longitudes and latitudes in degrees. Project "
                  "them to\n the coordinates of the survey, in metres, first.",
                  name));
}

Columns columns_named(const std::string& name, const PointLines& lines) {
  using Words = std::array<std::string_view, 3>;
  const Fields heading = lines.fields();
  const auto easting = find_column(heading, Words{"easting", "east", "x"});
  const auto northing = find_column(heading, Words{"northing", "north", "y"});
  const auto elevation = find_column(
      heading, std::array<std::string_view, 5>{"elevation", "elev", "height", "altitude", "z"});
  if (easting && northing && elevation) return {*easting, *northing, *elevation};
  if (find_column(heading,
                  std::array<std::string_view, 5>{"longitude", "lon", "long", "latitude", "lat"})) {
    refuse_degrees(name);
  }
  if (heading.size() == 3 && !easting && !northing && !elevation) return {0, 1, 2};
  lines.refuse("should name the columns easting, northing and elevation, or x, y and z");
}

/// Degrees and metres cannot be told apart for sure, but terrain of a few metres is of no use.
bool look_like_degrees(const SurfacePoints& points) {
  const MapBox box = box_of(points.easting, points.northing);
  return box.west >= -180.0 && box.east <= 360.0 && box.south >= -90.0 && box.north <= 90.0 &&
         box.east - box.west < kDegreesWide && box.north - box.south < kDegreesWide;
}

void append_point(const PointLines& lines, const Columns& columns, SurfacePoints& points) {
  const Fields fields = lines.fields();
  std::array<double, 3> point{};
  for (std::size_t c = 0; c < point.size(); ++c) {
    const auto value = columns[c] < fields.size() ? to_number(fields[columns[c]]) : std::nullopt;
    if (!value) lines.refuse("should hold easting, northing and elevation (m)");
    point[c] = *value;
  }
  if (!is_elevation(point[2])) {
    lines.refuse(fmt::format("has an elevation of {:g} m;\n {}. Leave points without a value out",
                             point[2], why_no_elevation(point[2])));
  }
  append_checked(points.easting, point[0]);
  append_checked(points.northing, point[1]);
  append_checked(points.elevation, point[2]);
}

}  // namespace

bool is_plain_points(const std::string& name) {
  PointLines lines(name);
  if (!lines.next()) return false;
  const Fields first = lines.fields();
  if (begins_with_point(first)) return true;
  const bool heading = std::none_of(first.begin(), first.end(), is_number);
  return heading && lines.next() && holds_three_numbers(lines.fields());
}

SurfacePoints read_plain_points(const std::string& name) {
  PointLines lines(name);
  SurfacePoints points;
  Columns columns{0, 1, 2};
  bool more = lines.next();
  if (more && !begins_with_point(lines.fields())) {
    columns = columns_named(name, lines);
    more = lines.next();
  }
  for (; more; more = lines.next()) append_point(lines, columns, points);
  if (look_like_degrees(points)) refuse_degrees(name);
  return points;
}

}  // namespace quorivex
