// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/terrain/surface_points.h"
#include "workbench/terrain/terrain_tops.h"

namespace quorivex::fuzz {

/// Points under a mesh, as every command reads them; other bytes would go to GDAL.
std::string points(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  if (!are_points(name)) return "";
  const Mesh mesh = make_mesh(1000.0, 2000.0, 300.0, {50, 50, 60, 70}, {50, 40, 50}, {10, 20, 40});
  return outcome([&] {
    std::string warnings;
    const Terrain terrain =
        read_terrain(name, mesh, [&](const std::string& text) { warnings += printable(text); });
    return warnings + test::record(column_tops_of_terrain(mesh, terrain).tops.tops);
  });
}

}  // namespace quorivex::fuzz
