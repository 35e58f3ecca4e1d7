// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/ground.h"

#include <fmt/format.h>

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
  Ground ground{.mesh = std::move(mesh), .tops = std::move(tops)};
  ground.before = allocate<std::int64_t>(as_size(ground.columns() + 1), routine);
  std::size_t column = 0;
  for (std::int32_t j = 1; j <= ground.mesh.nn; ++j) {
    for (std::int32_t i = 1; i <= ground.mesh.ne; ++i, ++column) {
      ground.before[column + 1] = ground.before[column] + ground.mesh.nz - ground.tops(j, i);
    }
  }
  return ground;
}

SharedGround share_ground(Mesh mesh, ColumnTops tops, std::string_view routine) {
  Ground ground = make_ground(std::move(mesh), std::move(tops), routine);
  return with_alloc_label(routine,
                          [&] { return std::make_shared<const Ground>(std::move(ground)); });
}

void check_not_all_air(const Ground& ground) {
  if (ground.cells() > 0) return;
  stop_run(
      " ERROR: all cells of the mesh lie above the ground. Compare the top of the mesh (its\n"
      " second line holds west, south and top) with the elevations of the terrain.");
}

}  // namespace quorivex
