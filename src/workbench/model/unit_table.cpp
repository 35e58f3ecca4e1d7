// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/unit_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "base/memory.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

constexpr const char* kOtherUnits = "*";
constexpr std::size_t kListedUnits = 10;

/// "'shale' (17), 'sand' (3)": the units at these places with their rows.
std::string list_units(const UnitCodes& units, const std::vector<std::size_t>& places) {
  std::string list;
  for (std::size_t n = 0; n < std::min(places.size(), kListedUnits); ++n) {
    list += fmt::format("{}'{}' ({})", n == 0 ? "" : ", ", excerpt(units.names[places[n]]),
                        units.counts[places[n]]);
  }
  if (places.size() > kListedUnits) {
    list += fmt::format(" and {} more", places.size() - kListedUnits);
  }
  return list;
}

}  // namespace

std::string unit_key(const std::string& name) {
  const auto number = to_number(name);
  return number ? fmt::format("{}", *number + 0.0) : name;  // -0 + 0 is 0
}

UnitCodes code_units(const std::vector<std::string>& names) {
  UnitCodes units;
  std::unordered_map<std::string, std::int32_t> numbers;
  for (const std::string& name : names) {
    std::string key = unit_key(name);
    const auto next = static_cast<std::int32_t>(units.names.size() + 1);
    const auto [at, added] = numbers.emplace(key, next);
    if (added) {
      append_checked(units.names, std::move(key));
      append_checked(units.counts, std::int64_t{0});
    }
    ++units.counts[as_size(at->second - 1)];
    append_checked(units.of_row, at->second);
  }
  return units;
}

UnitTable read_unit_table(const std::string& file, const SourceColumns& columns,
                          SourceNotes& notes) {
  SourceColumns only_values = columns;
  only_values.unit.clear();
  std::vector<WantedColumn> wanted{{.what = "unit", .usual = {"unit", "code"}, .text = true}};
  // A number is that of a column of the data.
  if (column_number(columns.unit) == 0) wanted[0].column = columns.unit;
  add_value_columns(only_values, wanted);
  Table table = read_source_table(file, wanted, columns, notes);
  UnitTable units{.file = file, .names = {}, .values = {}};
  std::unordered_map<std::string, std::int64_t> lines;
  RowFaults faults(file, "Keep one row of a unit.");
  for (std::size_t row = 0; row < table.number.size(); ++row) {
    std::string key = unit_key(table.texts[0][row]);
    const auto [at, added] = lines.emplace(key, table.number[row]);
    if (!added) {
      faults.add(table.number[row], fmt::format("the unit is in line {} already", at->second),
                 table.texts[0][row]);
    }
    units.names.push_back(std::move(key));
  }
  faults.refuse_any();
  units.values.assign(table.columns.begin() + 1, table.columns.end());
  return units;
}

std::vector<std::vector<double>> values_of_units(const UnitTable& table, const UnitCodes& units,
                                                 const std::string& source, SourceNotes& notes) {
  std::unordered_map<std::string, std::size_t> rows;
  for (std::size_t row = 0; row < table.names.size(); ++row) rows.emplace(table.names[row], row);
  const auto others = rows.find(kOtherUnits);
  std::vector<std::vector<double>> values(table.values.size());
  std::vector<std::size_t> unknown;
  for (std::size_t unit = 0; unit < units.names.size(); ++unit) {
    auto row = rows.find(units.names[unit]);
    if (row == rows.end()) {
      unknown.push_back(unit);
      if (others == rows.end()) continue;
      row = others;
    }
    for (std::size_t c = 0; c < values.size(); ++c) {
      values[c].push_back(table.values[c][row->second]);
    }
  }
  if (unknown.empty()) return values;
  const std::string list = list_units(units, unknown);
  if (others == rows.end()) {
    stop_run(
        fmt::format(" ERROR: {} units of {} are not in {}:\n {}.\n Add them, or a row * for "
                    "all units that are not named.",
                    unknown.size(), source, table.file, list));
  }
  notes.warnings.push_back(
      fmt::format("{} units of {} are not in {} and have the values of its "
                  "row *: {}",
                  unknown.size(), source, table.file, list));
  return values;
}

}  // namespace quorivex
