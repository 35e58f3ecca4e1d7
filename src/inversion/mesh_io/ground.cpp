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

Ground make_ground(Mesh mesh, ColumnTops tops) {
  Ground ground{std::move(mesh), std::move(tops), {}};
  const Mesh& m = ground.mesh;
  ground.before = allocate<std::int64_t>(as_size(std::int64_t{m.nn} * m.ne + 1), "make_ground");
  std::size_t column = 0;
  for (std::int32_t j = 1; j <= m.nn; ++j) {
    for (std::int32_t i = 1; i <= m.ne; ++i, ++column) {
      ground.before[column + 1] = ground.before[column] + m.nz - ground.tops(j, i);
    }
  }
  if (ground.cells() == 0) {
    stop_run(
        " ERROR: all cells of the mesh lie above the ground. Compare the top of the mesh (its\n"
        " second line holds west, south and top) with the elevations of the terrain.");
  }
  return ground;
}

}  // namespace quorivex
