// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>

#include "fuzz/archive.h"
#include "fuzz/outcome.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/model/hole_cells.h"
#include "workbench/model/unit_table.h"
#include "workbench/model/voxel_cells.h"

namespace quorivex::fuzz {
namespace {

/// Uneven along every axis, with a layer of air.
Ground uneven_ground() {
  const ColumnTops tops{.nn = 2, .ne = 3, .tops = std::vector<std::int32_t>(6, 1)};
  return make_ground(make_mesh(0.0, 0.0, 50.0, {10.0, 30.0, 15.0}, {20.0, 5.0}, {4.0, 6.0, 50.0}),
                     tops);
}

/// The columns kappa and, with a file of units, rock; "*" and nothing are missing.
SourceColumns columns_of_archive() {
  SourceColumns columns{{"kappa"}, "", {"*", "empty"}, {{"elevation", "level"}}};
  if (std::filesystem::exists("units.csv")) columns = {{}, "rock", {"*"}, {}};
  return columns;
}

std::string values_by_unit(const std::vector<std::string>& units, SourceNotes& notes) {
  const SourceColumns columns{{"kappa"}, "rock", {"*"}, {}};
  const UnitTable table = read_unit_table("units.csv", columns, notes);
  return test::record(values_of_units(table, code_units(units), "data", notes)[0]);
}

std::string text_of_notes(const SourceNotes& notes) {
  std::string text;
  for (const auto* all : {&notes.remarks, &notes.warnings}) {
    for (const std::string& note : *all) text += note;
  }
  return text;
}

}  // namespace

/// Files collars.csv, surveys.csv, intervals.csv and units.csv, of which the second and the last
/// may be missing.
std::string holes(std::string_view bytes) {
  const UnpackedArchive archive(bytes);
  return outcome([&] {
    SourceNotes notes;
    const std::string surveys = std::filesystem::exists("surveys.csv") ? "surveys.csv" : "";
    const DrillHoles read =
        read_drill_holes({"collars.csv", surveys, "intervals.csv"}, columns_of_archive(), notes);
    const Ground ground = uneven_ground();
    const HoleCells cells = cells_of_holes(ground, read, 12.0);
    note_reach(ground, read, cells, notes);
    std::string found = test::record(cells.intervals);
    if (!read.units.empty()) found += values_by_unit(read.units, notes);
    return found + text_of_notes(notes);
  });
}

/// Files voxels, a table or netCDF, and units.csv, which may be missing.
std::string voxels(std::string_view bytes) {
  const UnpackedArchive archive(bytes);
  return outcome([&] {
    SourceNotes notes;
    const Voxels read = is_netcdf_file("voxels")
                            ? read_voxel_netcdf("voxels", columns_of_archive(), notes)
                            : read_voxel_table("voxels", columns_of_archive(), notes);
    const Ground ground = uneven_ground();
    const VoxelMeans means = means_of_voxels(ground, read);
    std::string found = test::record(means.cells.entries, voxels_at_centres(ground, read).entries);
    for (const std::vector<double>& values : means.values) found += test::record(values);
    if (!read.units.empty()) {
      found += test::record(largest_units(ground, read, code_units(read.units).of_row).entries);
      found += values_by_unit(read.units, notes);
    }
    return found + text_of_notes(notes);
  });
}

}  // namespace quorivex::fuzz
