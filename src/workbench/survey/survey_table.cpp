// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/survey_table.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>

#include "base/statistics.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/tables/table.h"

namespace quorivex {
namespace {

constexpr double kMaxCoordinate = 1e9;  // metres
constexpr double kMaxElevation = 1e5;   // metres
constexpr double kMaxField = 2e5;       // nT, on Earth
constexpr double kMinDeviation = 1e-6;  // nT

/// The columns to be read, and the index of each among them.
struct Columns {
  std::vector<WantedColumn> wanted;
  std::size_t easting = 0;
  std::size_t northing = 0;
  std::size_t field = 0;
  std::optional<std::size_t> elevation;
  std::optional<std::size_t> height;
  std::optional<std::size_t> deviation;
  std::optional<std::size_t> longitude;
  std::optional<std::size_t> latitude;
};

Columns columns_of(const SurveyTable& table) {
  Columns c;
  const auto add = [&](const char* what, const std::string& column, double min, double max) {
    c.wanted.push_back({what, column, min, max});
    return c.wanted.size() - 1;
  };
  c.easting = add("easting", table.easting, -kMaxCoordinate, kMaxCoordinate);
  c.northing = add("northing", table.northing, -kMaxCoordinate, kMaxCoordinate);
  c.field = add("field", table.field, -kMaxField, kMaxField);
  if (!table.elevation.empty()) {
    c.elevation = add("elevation", table.elevation, -kMaxElevation, kMaxElevation);
  } else if (const auto constant = to_number(table.height); !constant) {
    c.height = add("height", table.height, -kMaxElevation, kMaxElevation);
  } else if (std::abs(*constant) > kMaxElevation) {
    stop_run(fmt::format(
        " ERROR: --height should be from {:g} to {:g} m, or name a column (of which '#4' is the\n"
        " fourth); found {}.",
        -kMaxElevation, kMaxElevation, table.height));
  }
  if (!table.deviation.empty()) {
    c.deviation = add("standard deviation", table.deviation,
                      table.zero_deviations ? 0.0 : kMinDeviation, kMaxField);
  }
  if (!table.longitude.empty()) {
    c.longitude = add("longitude", table.longitude, -360.0, 360.0);
    c.latitude = add("latitude", table.latitude, -90.0, 90.0);
  }
  return c;
}

/// Notes how many rows there are and which were left out; refuses what is too few or too many.
void check_rows(const Table& table, const std::string& name, const Columns& columns,
                SurveyNotes& notes) {
  const auto left_out =
      std::accumulate(table.missing.begin(), table.missing.end(), std::int64_t{0});
  std::string by;
  for (std::size_t c = 0; c < table.missing.size(); ++c) {
    if (table.missing[c] == 0) continue;
    by +=
        fmt::format("{}{} {}", by.empty() ? " (" : ", ", columns.wanted[c].what, table.missing[c]);
  }
  notes.remarks.push_back(fmt::format("{}: {} rows read, {} left out as marked missing{}", name,
                                      table.rows, left_out, by.empty() ? "" : by + ")"));
  if (table.number.empty()) {
    stop_run(fmt::format(" ERROR: all {} rows of {} are marked as missing.", table.rows, name));
  }
  if (length(table.number) > std::numeric_limits<std::int32_t>::max()) {
    stop_run(fmt::format(" ERROR: {} holds more rows than observations can have.", name));
  }
}

GeoPosition mean_position(std::vector<double> longitudes, const std::vector<double>& latitudes) {
  // Next to the first station, which keeps those on both sides of 180 degrees together.
  for (double& longitude : longitudes) {
    longitude = longitudes.front() + std::remainder(longitude - longitudes.front(), 360.0);
  }
  return {std::remainder(mean(longitudes), 360.0), mean(latitudes), 0.0};
}

}  // namespace

SurveyRows read_survey_table(const SurveyTable& from, SurveyNotes& notes) {
  const Columns columns = columns_of(from);
  Table table = read_table(
      from.name, {columns.wanted, from.line, from.fiducial, from.separator, from.missing});
  check_rows(table, from.name, columns, notes);
  notes.remarks.push_back(fmt::format(
      "columns: easting {}, northing {}, field {} ({})", table.names[columns.easting],
      table.names[columns.northing], table.names[columns.field],
      table.heading > 0 ? fmt::format("line {} taken as heading", table.heading) : "no heading"));

  SurveyRows rows;
  rows.stations.easting = std::move(table.columns[columns.easting]);
  rows.stations.northing = std::move(table.columns[columns.northing]);
  rows.stations.field = std::move(table.columns[columns.field]);
  rows.stations.line = std::move(table.line);
  rows.stations.number = std::move(table.number);
  rows.stations.fiducial = std::move(table.fiducial);
  if (columns.deviation) {
    rows.stations.deviation = std::move(table.columns[*columns.deviation]);
    rows.deviation_source = "column " + table.names[*columns.deviation];
  }
  rows.line_names = std::move(table.line_names);
  if (columns.elevation) {
    rows.stations.elevation = std::move(table.columns[*columns.elevation]);
    rows.elevation_source = "column " + table.names[*columns.elevation];
  } else if (columns.height) {
    rows.heights = std::move(table.columns[*columns.height]);
    rows.elevation_source = "column " + table.names[*columns.height];
  } else {
    const double height = to_number(from.height).value_or(0.0);
    rows.heights.assign(rows.stations.size(), height);
    rows.elevation_source = fmt::format("{:g} m", height);
    if (height < 0.0) {
      notes.warnings.push_back(fmt::format(
          "--height {:g} puts all stations below the ground, which is right for boreholes only.",
          height));
    }
  }
  if (columns.longitude) {
    rows.mean_position = mean_position(std::move(table.columns[*columns.longitude]),
                                       table.columns[*columns.latitude]);
  }
  return rows;
}

}  // namespace quorivex
