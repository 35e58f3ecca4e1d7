// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/table_operations.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "workbench/model/hole_cells.h"
#include "workbench/model/operation_keys.h"
#include "workbench/model/unit_table.h"
#include "workbench/model/voxel_cells.h"
#include "workbench/tables/delimited_text.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

using Words = std::vector<std::string>;

std::string text_or(const Operation& operation, const std::string& key, const std::string& other) {
  const Setting* setting = find_setting(operation, key);
  return setting == nullptr ? other : setting->value;
}

/// The columns that the settings of quantities take.
Words columns_taken(const Operation& operation) {
  Words names;
  for (const Setting& setting : operation.settings) {
    const std::vector<Quantity> set = quantities_of(setting.key);
    if (set.empty() || !setting.value.starts_with('@') || setting.value.size() == 1) continue;
    const std::string name = setting.value.substr(1);
    const bool other_quantity = name != setting.key && !quantities_of(name).empty();
    if (other_quantity || std::find(names.begin(), names.end(), name) != names.end()) continue;
    names.push_back(name);
  }
  return names;
}

/// @param kinds  columns of the geometry
SourceColumns source_columns(const Operation& operation, const Words& kinds) {
  SourceColumns columns;
  columns.values = columns_taken(operation);
  columns.unit = text_or(operation, "unit", "");
  columns.missing = split_fields(text_or(operation, "missing", ""), ',');
  if (columns.unit.empty() != text_or(operation, "units", "").empty()) {
    refuse(operation, "unit=COLUMN and units=FILE, which has the values by unit, go together");
  }
  for (const std::string& given : split_fields(text_or(operation, "columns", ""), ',')) {
    const std::size_t colon = given.find(':');
    const std::string kind = given.substr(0, colon);
    if (colon == std::string::npos || colon + 1 == given.size() ||
        std::find(kinds.begin(), kinds.end(), kind) == kinds.end() ||
        !columns.names.emplace(kind, given.substr(colon + 1)).second) {
      refuse(operation, fmt::format("columns={} should be KIND:NAME, with commas between several; "
                                    "the kinds are {}",
                                    excerpt(given), fmt::join(kinds, ", ")));
    }
  }
  return columns;
}

/// Columns of values by entry, under the names that settings use.
void add_columns(const SourceColumns& columns, std::vector<std::vector<double>> values,
                 Selection& selection) {
  for (std::size_t c = 0; c < values.size(); ++c) {
    selection.columns.push_back({columns.values[c], std::move(values[c])});
  }
}

void report(const Operation& operation, SourceNotes notes, const ModelSources& sources,
            Selection& selection) {
  for (const std::string& warning : notes.warnings) {
    sources.warn(fmt::format("{}: {}", operation.place, warning));
  }
  selection.remarks = std::move(notes.remarks);
}

/// What is read of the data themselves where a table of units has the values.
SourceColumns of_the_source(SourceColumns columns) {
  if (!columns.unit.empty()) columns.values.clear();
  return columns;
}

/// The unit of each entry in place of the entry.
void give_units(const std::vector<std::int32_t>& units, std::vector<std::int32_t>& entries) {
  for (std::int32_t& entry : entries) {
    if (entry > 0) entry = units[as_size(entry - 1)];
  }
}

Voxels read_voxels(const std::string& file, const Operation& operation,
                   const SourceColumns& columns, SourceNotes& notes) {
  if (!is_netcdf_file(file)) return read_voxel_table(file, columns, notes);
  if (columns.values.empty() && columns.unit.empty()) {
    refuse(operation, "a netCDF file needs the name of a variable: QUANTITY=@NAME");
  }
  return read_voxel_netcdf(file, columns, notes);
}

void note_voxels(const Voxels& voxels, const VoxelCells& cells, SourceNotes& notes) {
  notes.remarks.push_back(fmt::format(
      "{} cells have a value, {} are less than half covered and left as they are; {} of {} voxels "
      "give nothing",
      cells.with, cells.less_than_half, cells.unused, voxels.at.size()));
}

}  // namespace

Selection select_holes(const Operation& operation, const ModelSources& sources) {
  const HoleTables tables{needed_text(operation, "collars"), text_or(operation, "surveys", ""),
                          needed_text(operation, "intervals")};
  const double reach = find_setting(operation, "reach") == nullptr
                           ? 0.0
                           : needed_number(operation, "reach", {0.0, kMaxPlace});
  const SourceColumns columns = source_columns(
      operation,
      {"hole", "easting", "northing", "elevation", "depth", "azimuth", "dip", "from", "to"});
  SourceNotes notes;
  DrillHoles holes = read_drill_holes(tables, of_the_source(columns), notes);
  HoleCells cells = cells_of_holes(*sources.cells.ground, holes, reach);
  note_reach(*sources.cells.ground, holes, cells, notes);
  Selection selection;
  selection.entries = std::move(cells.intervals);
  if (columns.unit.empty()) {
    add_columns(columns, std::move(holes.values), selection);
  } else {
    const UnitCodes units = code_units(holes.units);
    const UnitTable table = read_unit_table(needed_text(operation, "units"), columns, notes);
    give_units(units.of_row, selection.entries);
    add_columns(columns, values_of_units(table, units, tables.intervals, notes), selection);
  }
  report(operation, std::move(notes), sources, selection);
  return selection;
}

Selection select_voxels(const Operation& operation, const ModelSources& sources) {
  const std::string& file = needed_text(operation, "file");
  const std::string method = text_or(operation, "method", "average");
  if (method != "average" && method != "nearest") {
    refuse(operation, fmt::format("method={} should be average or nearest", excerpt(method)));
  }
  const SourceColumns columns =
      source_columns(operation, {"easting", "northing", "elevation", "dx", "dy", "dz"});
  const Ground& ground = *sources.cells.ground;
  SourceNotes notes;
  Voxels voxels = read_voxels(file, operation, of_the_source(columns), notes);
  Selection selection;
  VoxelCells cells;
  if (!columns.unit.empty()) {
    const UnitCodes units = code_units(voxels.units);
    const UnitTable table = read_unit_table(needed_text(operation, "units"), columns, notes);
    cells = method == "average" ? largest_units(ground, voxels, units.of_row)
                                : voxels_at_centres(ground, voxels);
    if (method == "nearest") give_units(units.of_row, cells.entries);
    add_columns(columns, values_of_units(table, units, file, notes), selection);
  } else if (method == "average") {
    VoxelMeans means = means_of_voxels(ground, voxels);
    cells = std::move(means.cells);
    add_columns(columns, std::move(means.values), selection);
  } else {
    cells = voxels_at_centres(ground, voxels);
    add_columns(columns, std::move(voxels.values), selection);
  }
  note_voxels(voxels, cells, notes);
  selection.entries = std::move(cells.entries);
  report(operation, std::move(notes), sources, selection);
  return selection;
}

}  // namespace quorivex
