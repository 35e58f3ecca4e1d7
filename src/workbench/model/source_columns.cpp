// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/source_columns.h"

#include <fmt/format.h>

#include <limits>
#include <utility>

#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {

WantedColumn geometry_column(const SourceColumns& columns, const std::string& what,
                             std::vector<std::string> usual, double min, double max) {
  WantedColumn column{what, "", min, max};
  const auto given = columns.names.find(what);
  if (given == columns.names.end()) {
    column.usual = std::move(usual);
  } else {
    column.column = given->second;
  }
  return column;
}

void add_value_columns(const SourceColumns& columns, std::vector<WantedColumn>& wanted) {
  for (const std::string& value : columns.values) {
    wanted.push_back({value, value, -kMaxSourceValue, kMaxSourceValue});
  }
  if (!columns.unit.empty())
    wanted.push_back({.what = "unit", .column = columns.unit, .text = true});
}

std::vector<WantedColumn> place_columns(const SourceColumns& columns) {
  return {geometry_column(columns, "easting", {"easting", "east", "x"}, -kMaxCoordinate,
                          kMaxCoordinate),
          geometry_column(columns, "northing", {"northing", "north", "y"}, -kMaxCoordinate,
                          kMaxCoordinate),
          geometry_column(columns, "elevation", {"elevation", "elev", "z", "rl"}, -kMaxElevation,
                          kMaxElevation)};
}

Table read_source_table(const std::string& name, const std::vector<WantedColumn>& wanted,
                        const SourceColumns& columns, SourceNotes& notes) {
  TableRequest request;
  request.columns = wanted;
  request.missing = columns.missing;
  request.flight_lines = false;
  request.in_recipe = true;
  Table table = read_table(name, request);
  std::string by;
  for (std::size_t c = 0; c < wanted.size(); ++c) {
    if (table.missing[c] == 0) continue;
    by += fmt::format("{}{} {}", by.empty() ? "" : ", ", wanted[c].what, table.missing[c]);
  }
  const std::int64_t left_out = table.rows - length(table.number);
  notes.remarks.push_back(fmt::format("{}: {} rows read, {} left out as marked missing{}", name,
                                      table.rows, left_out, by.empty() ? "" : " (" + by + ")"));
  if (table.number.empty()) {
    stop_run(fmt::format(" ERROR: all {} rows of {} are marked as missing.", table.rows, name));
  }
  if (length(table.number) > std::numeric_limits<std::int32_t>::max()) {
    stop_run(fmt::format(" ERROR: {} holds more rows than can be used.", name));
  }
  return table;
}

}  // namespace quorivex
