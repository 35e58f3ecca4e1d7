// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/getpar.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "base/stop_run.h"
#include "inversion/sensitivity/exact_sums.h"
#include "inversion/sensitivity/part_reader.h"
#include "inversion/sensitivity/row_reader.h"

namespace quorivex {
namespace {

/// The counts of the mesh in the order of record 1.
struct MeshCounts {
  std::int32_t nn = 0;
  std::int32_t ne = 0;
  std::int32_t nz = 0;
};

MeshCounts read_counts(SensitivitySource& source, SensitivityState& sens) {
  std::int32_t counts[5] = {};
  source.need(source.file.begin() && source.file.read(counts, 5) && source.file.finish());
  sens.ndata = counts[0];
  sens.nsens = counts[1];
  const MeshCounts mesh{.nn = counts[2], .ne = counts[3], .nz = counts[4]};
  source.check(sens.ndata >= 0 && sens.nsens >= 0,
               fmt::format("Record 1: ndata and nsens should not be negative; found {} and {}.",
                           sens.ndata, sens.nsens));
  source.check(valid_counts(mesh.ne, mesh.nn, mesh.nz),
               fmt::format("Record 1: nn, ne and nz should be positive and give at most 2147483647 "
                           "cells; found {}, {} and {}.",
                           mesh.nn, mesh.ne, mesh.nz));
  return mesh;
}

ColumnTops read_column_tops(SensitivitySource& source, const Mesh& mesh) {
  const std::int64_t columns = std::int64_t{mesh.nn} * mesh.ne;
  source.begin(columns, sizeof(std::int32_t));
  ColumnTops tops{
      .nn = mesh.nn, .ne = mesh.ne, .tops = allocate<std::int32_t>(as_size(columns), "getpar")};
  source.need(source.file.read(tops.tops.data(), columns) && source.file.finish());
  source.check_range(tops.tops, 0, mesh.nz, 3, "column tops");
  return tops;
}

void read_filter(SensitivitySource& source, SensitivityState& sens) {
  std::int32_t nfilt = 0;
  source.need(source.file.begin() && source.file.read(&nfilt, 1));
  const std::int64_t count = std::max(nfilt, 0);
  source.need(count * std::int64_t{sizeof(double)} <= source.file.left_in_record());
  std::vector<double> low_pass = allocate<double>(as_size(count), "getpar");
  source.need(source.file.read(low_pass.data(), count) && source.file.finish());
  for (const double coefficient : low_pass) {
    source.check(std::isfinite(coefficient),
                 "Record 4: the coefficients of the filter should be finite numbers; found one "
                 "that is not.");
  }
  sens.filter = WTN_MOD::filter_setup(std::move(low_pass));
  sens.compressed = nfilt >= 1;
}

/// An axis of a wavelet grid that the transform can work on and that has room for `cells`.
bool valid_axis(std::int32_t points, std::int32_t cells) {
  return points >= cells &&
         (points <= 4 || std::has_single_bit(static_cast<std::uint32_t>(points)));
}

/// The most points of a grid for a mesh: 64 times the smallest one, and always a million. A short
/// file should not call for a grid that no writer makes, and that takes gigabytes of memory.
std::int64_t max_points(const Mesh& mesh) {
  std::int64_t smallest = 1;
  for (const std::int32_t cells : {mesh.ne, mesh.nn, mesh.nz}) {
    smallest *= std::bit_ceil(static_cast<std::uint32_t>(cells));
  }
  return std::max(std::int64_t{1} << 20, 64 * smallest);
}

/// A full matrix has no wavelet grid; of its counts only the sign and the product are looked at.
void read_grid(SensitivitySource& source, const Mesh& mesh, SensitivityState& sens) {
  std::int32_t counts[3] = {};
  source.need(source.file.begin() && source.file.read(counts, 3) && source.file.finish());
  sens.nw3 = counts[0];
  sens.nw2 = counts[1];
  sens.nw1 = counts[2];
  constexpr std::int64_t kMaxPoints = std::numeric_limits<std::int32_t>::max();
  const std::int64_t plane = std::int64_t{sens.nw1} * sens.nw2;
  const bool fits = std::min({sens.nw1, sens.nw2, sens.nw3}) >= (sens.compressed ? 1 : 0) &&
                    plane <= kMaxPoints && (plane == 0 || sens.nw3 <= kMaxPoints / plane);
  source.check(
      fits, fmt::format("Record 5: nw3, nw2 and nw1 should be {} and give at most "
                        "2147483647 points; found {}, {} and {}.",
                        sens.compressed ? "positive" : "0 or more", sens.nw3, sens.nw2, sens.nw1));
  sens.nwav = static_cast<std::int32_t>(plane * sens.nw3);
  if (!sens.compressed) return;
  const bool valid = valid_axis(sens.nw3, mesh.nn) && valid_axis(sens.nw2, mesh.ne) &&
                     valid_axis(sens.nw1, mesh.nz);
  source.check(valid, fmt::format("Record 5: nw3, nw2 and nw1 should be at least nn, ne and nz = "
                                  "{}, {} and {}, and powers of two where above 4; found {}, {} "
                                  "and {}.",
                                  mesh.nn, mesh.ne, mesh.nz, sens.nw3, sens.nw2, sens.nw1));
  source.check(
      std::int64_t{sens.nw1} * sens.nw2 * sens.nw3 <= max_points(mesh),
      fmt::format("Record 5: the wavelet grid should have at most {} points for {} x {} x "
                  "{} cells; found {} x {} x {}.",
                  max_points(mesh), mesh.nn, mesh.ne, mesh.nz, sens.nw3, sens.nw2, sens.nw1));
}

/// Records 1 to 5.
SensitivityFile read_heading(SensitivitySource& source) {
  SensitivityFile to;
  const MeshCounts counts = read_counts(source, to.sens);
  std::optional<Mesh> mesh = read_mesh_record(source.file, counts.nn, counts.ne, counts.nz);
  source.need(mesh.has_value());
  ColumnTops tops = read_column_tops(source, *mesh);
  to.ground = share_ground(std::move(*mesh), std::move(tops), "getpar");
  read_filter(source, to.sens);
  read_grid(source, to.ground->mesh, to.sens);
  return to;
}

void read_sparse_rows(SensitivitySource& source, SensitivityState& sens) {
  if (sens.part.team == ranks::Team::all) return read_part_of_sparse_rows(source, sens);
  RowReader reader(source, sens);
  sens.Gs = SparseMatrix(sens.nwav, sens.ndata, reader.entries());
  while (reader.rows_left()) {
    SparseRows rows = reader.next();
    sens.Gs.append(rows);
  }
}

void read_full_rows(SensitivitySource& source, SensitivityState& sens) {
  const std::int64_t nsens = sens.columns();
  const std::uint64_t row_bytes = sizeof(float) * static_cast<std::uint64_t>(nsens) + 8;
  // At most 2^64 - 4: no overflow.
  source.need(row_bytes * static_cast<std::uint64_t>(sens.ndata) <=
              static_cast<std::uint64_t>(source.file.left_in_file()));
  if (sens.part.team == ranks::Team::all) return read_part_of_full_rows(source, sens);
  sens.Gfull = {nsens, UninitializedArray<float>(nsens * sens.ndata, "getpar Gfull")};
  float* row = sens.Gfull.values.data();
  for (std::int32_t i = 1; i <= sens.ndata; ++i, row += nsens) {
    source.need(source.file.begin() && source.file.read(row, nsens) && source.file.finish());
  }
}

/// Reads numbers of ground cells, those that this process has. The record, which has begun, holds
/// one of each.
void read_cells(SensitivityFile& heading, SensitivitySource& source, std::string_view label,
                std::vector<double>& values) {
  const SensitivityState& sens = heading.sens;
  const std::int64_t before = std::min(heading.ground->slab.ground_cells_before, sens.columns());
  source.need(sens.columns() * std::int64_t{sizeof(double)} <= source.file.left_in_record());
  values = allocate<double>(as_size(sens.nsens), label);
  source.need(source.file.pass<double>(before) && source.file.read(values.data(), sens.nsens) &&
              source.file.finish());
}

}  // namespace

OpenSensitivityFile open_sensitivity_file(const std::string& name) {
  SensitivitySource source = open_sensitivity_source(name);
  SensitivityFile heading = read_heading(source);
  return {std::move(source), std::move(heading)};
}

void take_part(OpenSensitivityFile& opened) {
  if (ranks::count() == 1) return;
  SensitivityState& sens = opened.heading.sens;
  const Ground& survey = *opened.heading.ground;
  with_alloc_label("getpar", [&] { sens.part = part_of_all(survey, sens.nsens); });
  const SharedGround ground = share_slab(survey, own_rows(survey.mesh.nn, ranks::rank()), "getpar");
  // A file whose numbers of cells disagree is refused later, by the process at the last row.
  const Slab& slab = ground->slab;
  const std::int64_t end = slab.rows_before + ground->mesh.nn == slab.rows
                               ? sens.nsens
                               : slab.ground_cells_before + ground->cells();
  const auto in_file = [&](std::int64_t cell) { return std::min(cell, sens.part.columns); };
  sens.nsens = static_cast<std::int32_t>(in_file(end) - in_file(slab.ground_cells_before));
  opened.heading.ground = ground;
}

void read_wtz(OpenSensitivityFile& opened) {
  SensitivitySource& source = opened.source;
  std::int32_t unused = 0;
  source.need(source.file.begin() && source.file.read(&unused, 1));
  read_cells(opened.heading, source, "getpar", opened.heading.sens.wtz);
}

SensitivityFile read_matrix_rows(OpenSensitivityFile opened) {
  SensitivityState& sens = opened.heading.sens;
  SensitivitySource& source = opened.source;
  if (sens.compressed) {
    read_sparse_rows(source, sens);
    sens.norms = row_norms(sens.Gs, sens.part.team);
  } else {
    read_full_rows(source, sens);
    sens.norms = row_norms(sens.Gfull, sens.ndata, sens.part.team);
  }
  source.need(source.file.begin());
  read_cells(opened.heading, source, "getpar gdiag", sens.gdiag);
  opened.heading.bytes_behind = source.file.left_in_file();
  return std::move(opened.heading);
}

SensitivityFile read_sensitivity_heading(const std::string& name) {
  OpenSensitivityFile opened = open_sensitivity_file(name);
  read_wtz(opened);
  return std::move(opened.heading);
}

SensitivityFile getpar(const std::string& name) {
  OpenSensitivityFile opened = open_sensitivity_file(name);
  read_wtz(opened);
  return read_matrix_rows(std::move(opened));
}

}  // namespace quorivex
