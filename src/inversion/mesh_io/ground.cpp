// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/ground.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/stop_run.h"

namespace quorivex {
namespace {

void check_axis(const std::vector<double>& widths, const char* axis) {
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (widths[i] > 0.0) continue;
    stop_run(fmt::format(
        " ERROR: the cell widths of the mesh should be greater than 0; {} width {} is {}.", axis,
        i + 1, widths[i]));
  }
}

}  // namespace

void check_widths(const Mesh& mesh) {
  check_axis(mesh.de, "easting");
  check_axis(mesh.dn, "northing");
  check_axis(mesh.dz, "depth");
}

GridColumn Ground::column(std::int64_t number) const {
  const auto i = static_cast<std::int32_t>((number - 1) % mesh.ne + 1);
  const auto j = static_cast<std::int32_t>((number - 1) / mesh.ne + 1);
  return {.i = i,
          .j = j,
          .top = tops(j, i),
          .above = (number - 1) * mesh.nz,
          .before = before[as_size(number - 1)]};
}

Ground make_ground(Mesh mesh, ColumnTops tops, std::string_view routine) {
  Ground ground{.mesh = std::move(mesh), .tops = std::move(tops), .slab = {}};
  ground.before = allocate<std::int64_t>(as_size(ground.columns() + 1), routine);
  std::size_t column = 0;
  for (std::int32_t j = 1; j <= ground.mesh.nn; ++j) {
    for (std::int32_t i = 1; i <= ground.mesh.ne; ++i, ++column) {
      ground.before[column + 1] = ground.before[column] + ground.mesh.nz - ground.tops(j, i);
    }
  }
  ground.slab = {.own_first = 0,
                 .own_end = ground.mesh.nn,
                 .rows = ground.mesh.nn,
                 .cells = ground.mesh.cells(),
                 .ground_cells = ground.cells()};
  return ground;
}

SharedGround share_ground(Mesh mesh, ColumnTops tops, std::string_view routine) {
  Ground ground = make_ground(std::move(mesh), std::move(tops), routine);
  return with_alloc_label(routine,
                          [&] { return std::make_shared<const Ground>(std::move(ground)); });
}

ranks::Share own_rows(std::int64_t rows, int process) {
  const auto owners = static_cast<int>(std::min<std::int64_t>(rows, ranks::count()));
  if (process >= owners) return {rows, rows};
  return ranks::share_of(rows, process, owners);
}

SharedGround share_slab(const Ground& survey, const ranks::Share& own, std::string_view routine) {
  const bool none = own.size() == 0;
  const std::int64_t first = none ? own.begin : std::max<std::int64_t>(own.begin - 1, 0);
  const std::int64_t end = none ? first : std::min<std::int64_t>(own.end + 1, survey.mesh.nn);
  return with_alloc_label(routine, [&] {
    Mesh mesh = survey.mesh;
    mesh.nn = static_cast<std::int32_t>(end - first);
    const auto part = [](auto& values, std::int64_t from, std::int64_t to) {
      values = {values.begin() + from, values.begin() + to};
    };
    part(mesh.northing_nodes, first, end + 1);
    part(mesh.dn, first, end);
    ColumnTops tops{.nn = mesh.nn, .ne = mesh.ne, .tops = {}};
    for (std::int32_t i = 1; i <= mesh.ne; ++i) {
      for (std::int64_t j = first + 1; j <= end; ++j) {
        tops.tops.push_back(survey.tops(static_cast<std::int32_t>(j), i));
      }
    }
    Ground ground = make_ground(std::move(mesh), std::move(tops), routine);
    const std::int64_t columns_before = first * survey.mesh.ne;
    ground.slab = {.team = ranks::Team::all,
                   .own_first = static_cast<std::int32_t>(own.begin - first),
                   .own_end = static_cast<std::int32_t>(own.end - first),
                   .rows = survey.mesh.nn,
                   .rows_before = first,
                   .cells = survey.mesh.cells(),
                   .cells_before = columns_before * survey.mesh.nz,
                   .ground_cells = survey.cells(),
                   .ground_cells_before = survey.before[as_size(columns_before)]};
    return std::make_shared<const Ground>(std::move(ground));
  });
}

void check_not_all_air(const Ground& ground) {
  if (ground.cells() > 0) return;
  stop_run(
      " ERROR: all cells of the mesh lie above the ground. Compare the top of the mesh (its\n"
      " second line holds west, south and top) with the elevations of the terrain.");
}

}  // namespace quorivex
