// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/drill_holes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <unordered_map>
#include <utility>

#include "base/stop_run.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

constexpr double kMaxHoleDepth = 20'000.0;  // metres along a hole; the deepest are 13 km
constexpr double kSameDepth = 0.001;        // metres by which intervals may overlap

WantedColumn hole_column(const SourceColumns& columns) {
  WantedColumn hole{.what = "hole",
                    .usual = {"hole", "hole_id", "holeid", "bhid", "dhid", "hole_name"},
                    .text = true};
  // Its name may be another in one of the tables alone.
  if (const auto given = columns.names.find("hole"); given != columns.names.end()) {
    hole.column = given->second;
  }
  return hole;
}

std::vector<WantedColumn> direction_columns(const SourceColumns& columns) {
  return {geometry_column(columns, "azimuth", {"azimuth", "azi", "azim", "bearing"}, -360.0, 360.0),
          geometry_column(columns, "dip", {"dip", "inclination", "incl"}, -90.0, 90.0)};
}

/// The collars, before their paths are known.
struct Collars {
  std::unordered_map<std::string, std::size_t> numbers;  // of the holes by their names
  std::vector<std::string> names;
  std::vector<SpacePoint> places;
  std::vector<HoleDirection> directions;
};

Table read_collar_table(const HoleTables& tables, const SourceColumns& columns,
                        SourceNotes& notes) {
  // With a table of surveys, columns of directions under names of the user's own may be there
  // alone.
  SourceColumns names = columns;
  if (!tables.surveys.empty()) {
    names.names.erase("azimuth");
    names.names.erase("dip");
  }
  std::vector<WantedColumn> wanted = place_columns(columns);
  wanted.insert(wanted.begin(), hole_column(columns));
  for (WantedColumn& column : direction_columns(names)) {
    column.optional = true;
    column.gaps = true;
    wanted.push_back(column);
  }
  return read_source_table(tables.collars, wanted, columns, notes);
}

/// Vertical without a dip; the azimuth is NaN where an inclined hole lacks it.
HoleDirection collar_direction(const Table& table, std::size_t row) {
  const auto value = [&](std::size_t column) {
    return table.columns[column].empty() ? std::numeric_limits<double>::quiet_NaN()
                                         : table.columns[column][row];
  };
  HoleDirection found;
  if (!std::isnan(value(5))) found.dip = value(5);
  if (std::abs(found.dip) < 90.0) found.azimuth = value(4);
  return found;
}

/// NaN is the same as NaN.
bool same_direction(const HoleDirection& a, const HoleDirection& b) {
  const bool no_azimuth = std::isnan(a.azimuth) && std::isnan(b.azimuth);
  return a.dip == b.dip && (a.azimuth == b.azimuth || no_azimuth);
}

Collars read_collars(const HoleTables& tables, const SourceColumns& columns, SourceNotes& notes) {
  const Table table = read_collar_table(tables, columns, notes);
  Collars collars;
  RowFaults faults(tables.collars, "Keep one row of a hole.");
  std::int64_t repeated = 0;
  for (std::size_t row = 0; row < table.number.size(); ++row) {
    const std::string& name = table.texts[0][row];
    const SpacePoint place{table.columns[1][row], table.columns[2][row], table.columns[3][row]};
    const HoleDirection first = collar_direction(table, row);
    const auto [at, added] = collars.numbers.emplace(name, collars.names.size());
    if (added) {
      append_checked(collars.names, name);
      append_checked(collars.places, place);
      append_checked(collars.directions, first);
      continue;
    }
    if (collars.places[at->second] == place &&
        same_direction(collars.directions[at->second], first)) {
      ++repeated;
    } else {
      faults.add(table.number[row],
                 fmt::format("hole '{}' has another collar above", excerpt(name)),
                 fmt::format("{} {} {} {}", name, place[0], place[1], place[2]));
    }
  }
  faults.refuse_any();
  if (repeated > 0) {
    notes.remarks.push_back(fmt::format("{}: {} rows left out that repeat the collar of a hole",
                                        tables.collars, repeated));
  }
  return collars;
}

Table read_survey_table(const HoleTables& tables, const SourceColumns& columns,
                        SourceNotes& notes) {
  std::vector<WantedColumn> wanted{
      hole_column(columns),
      geometry_column(columns, "depth", {"depth", "at", "distance"}, 0.0, kMaxHoleDepth)};
  for (const WantedColumn& column : direction_columns(columns)) wanted.push_back(column);
  return read_source_table(tables.surveys, wanted, columns, notes);
}

/// The rows of each hole, from its collar down.
std::vector<std::vector<std::size_t>> rows_of_holes(const HoleTables& tables, const Table& table,
                                                    const Collars& collars, SourceNotes& notes) {
  const std::vector<std::string>& names = table.texts[0];
  const std::vector<double>& depths = table.columns[1];
  std::vector<std::vector<std::size_t>> rows(collars.names.size());
  std::int64_t unknown = 0;
  for (std::size_t row = 0; row < names.size(); ++row) {
    const auto hole = collars.numbers.find(names[row]);
    if (hole == collars.numbers.end()) {
      ++unknown;
    } else {
      rows[hole->second].push_back(row);
    }
  }
  if (unknown > 0) {
    notes.warnings.push_back(fmt::format("{}: {} rows left out whose hole is not in {}",
                                         tables.surveys, unknown, tables.collars));
  }
  for (std::vector<std::size_t>& of_hole : rows) {
    std::stable_sort(of_hole.begin(), of_hole.end(),
                     [&](std::size_t a, std::size_t b) { return depths[a] < depths[b]; });
  }
  return rows;
}

/// The directions of each hole, from its collar down.
std::vector<std::vector<HoleDirection>> read_surveys(const HoleTables& tables,
                                                     const SourceColumns& columns,
                                                     const Collars& collars, SourceNotes& notes) {
  const Table table = read_survey_table(tables, columns, notes);
  const std::vector<std::vector<std::size_t>> rows = rows_of_holes(tables, table, collars, notes);
  const std::vector<std::string>& names = table.texts[0];
  RowFaults faults(tables.surveys, "Keep one direction at a depth.");
  std::vector<std::vector<HoleDirection>> directions(rows.size());
  for (std::size_t hole = 0; hole < rows.size(); ++hole) {
    for (const std::size_t row : rows[hole]) {
      const HoleDirection now{table.columns[1][row], table.columns[2][row], table.columns[3][row]};
      std::vector<HoleDirection>& before = directions[hole];
      const bool same = !before.empty() && before.back().depth == now.depth;
      if (same || (!before.empty() && are_opposite(before.back(), now))) {
        faults.add(table.number[row],
                   fmt::format("hole '{}' has {} {:g} m", excerpt(names[row]),
                               same ? "another direction at" : "the opposite direction at",
                               before.back().depth),
                   fmt::format("{} {} {} {}", names[row], now.depth, now.azimuth, now.dip));
      }
      before.push_back(now);
    }
  }
  faults.refuse_any();
  return directions;
}

std::vector<HolePath> paths_of(const HoleTables& tables, const Collars& collars,
                               std::vector<std::vector<HoleDirection>> directions,
                               SourceNotes& notes) {
  std::vector<HolePath> paths;
  std::size_t straight = 0;
  std::size_t upward = 0;
  for (std::size_t hole = 0; hole < collars.names.size(); ++hole) {
    if (directions[hole].empty()) {
      const HoleDirection& first = collars.directions[hole];
      if (std::isnan(first.azimuth)) {
        stop_run(fmt::format(" ERROR: {}: hole '{}' has the dip {} and no azimuth.", tables.collars,
                             excerpt(collars.names[hole]), first.dip));
      }
      directions[hole].push_back(first);
      ++straight;
    }
    if (directions[hole].front().dip > 0.0) ++upward;
    append_checked(paths, desurvey(collars.places[hole], directions[hole]));
  }
  if (!tables.surveys.empty() && straight > 0) {
    notes.warnings.push_back(
        fmt::format("{} of {} holes have no row in {} and are taken as straight", straight,
                    paths.size(), tables.surveys));
  }
  if (2 * upward > paths.size()) {
    notes.warnings.push_back(
        fmt::format("{} of {} holes go up: the dip of a hole that goes down is negative", upward,
                    paths.size()));
  }
  return paths;
}

/// The rows of the table of intervals by hole, then by depth.
struct IntervalRows {
  std::vector<HoleInterval> intervals;
  std::vector<std::size_t> rows;
};

IntervalRows order_intervals(const HoleTables& tables, const Table& table, const Collars& collars) {
  RowFaults faults(tables.intervals, "Correct them.");
  const auto refuse = [&](std::size_t row, const std::string& why) {
    faults.add(
        table.number[row], why,
        fmt::format("{} {} {}", table.texts[0][row], table.columns[1][row], table.columns[2][row]));
  };
  std::vector<HoleInterval> intervals;
  std::vector<std::size_t> rows;
  for (std::size_t row = 0; row < table.number.size(); ++row) {
    const HoleInterval part{0, table.columns[1][row], table.columns[2][row]};
    const auto hole = collars.numbers.find(table.texts[0][row]);
    if (hole == collars.numbers.end()) {
      refuse(row,
             fmt::format("hole '{}' is not in {}", excerpt(table.texts[0][row]), tables.collars));
    } else if (!(part.from < part.to)) {
      refuse(row, fmt::format("from {} should be less than to {}", part.from, part.to));
    } else {
      append_checked(intervals, {hole->second, part.from, part.to});
      append_checked(rows, row);
    }
  }
  std::vector<std::size_t> order(rows.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return std::pair(intervals[a].hole, intervals[a].from) <
           std::pair(intervals[b].hole, intervals[b].from);
  });
  IntervalRows found{values_at(intervals, order), values_at(rows, order)};
  for (std::size_t n = 1; n < found.rows.size(); ++n) {
    const HoleInterval& above = found.intervals[n - 1];
    const HoleInterval& part = found.intervals[n];
    if (part.hole != above.hole || part.from >= above.to - kSameDepth) continue;
    refuse(found.rows[n], fmt::format("it overlaps {} to {} m of line {}", above.from, above.to,
                                      table.number[found.rows[n - 1]]));
  }
  faults.refuse_any();
  return found;
}

void note_holes_without(const HoleTables& tables, const DrillHoles& holes, SourceNotes& notes) {
  std::size_t with = 0;
  for (std::size_t n = 0; n < holes.intervals.size(); ++n) {
    if (n == 0 || holes.intervals[n].hole != holes.intervals[n - 1].hole) ++with;
  }
  notes.remarks.push_back(fmt::format("{} holes with {} intervals; {} holes of {} have none", with,
                                      holes.intervals.size(), holes.paths.size() - with,
                                      tables.collars));
}

}  // namespace

DrillHoles read_drill_holes(const HoleTables& tables, const SourceColumns& columns,
                            SourceNotes& notes) {
  return with_alloc_label("read_drill_holes", [&] {
    const Collars collars = read_collars(tables, columns, notes);
    std::vector<std::vector<HoleDirection>> directions(collars.names.size());
    if (!tables.surveys.empty()) directions = read_surveys(tables, columns, collars, notes);
    DrillHoles holes;
    holes.paths = paths_of(tables, collars, std::move(directions), notes);

    std::vector<WantedColumn> wanted{
        hole_column(columns),
        geometry_column(columns, "from", {"from", "depth_from", "from_m"}, 0.0, kMaxHoleDepth),
        geometry_column(columns, "to", {"to", "depth_to", "to_m"}, 0.0, kMaxHoleDepth)};
    add_value_columns(columns, wanted);
    const Table table = read_source_table(tables.intervals, wanted, columns, notes);
    IntervalRows ordered = order_intervals(tables, table, collars);
    holes.intervals = std::move(ordered.intervals);
    for (std::size_t v = 0; v < columns.values.size(); ++v) {
      holes.values.push_back(values_at(table.columns[3 + v], ordered.rows));
    }
    if (!columns.unit.empty()) holes.units = values_at(table.texts.back(), ordered.rows);
    note_holes_without(tables, holes, notes);
    return holes;
  });
}

}  // namespace quorivex
