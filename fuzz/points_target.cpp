// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/terrain/terrain_tops.h"

namespace quorivex::fuzz {

/// A terrain under a mesh, as every command reads it.
std::string points(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  const Mesh mesh = make_mesh(1000.0, 2000.0, 300.0, {50, 50, 60, 70}, {50, 40, 50}, {10, 20, 40});
  return outcome([&] {
    std::string warnings;
    const Terrain terrain =
        read_terrain(name, mesh, [&](const std::string& text) { warnings += printable(text); });
    return warnings + test::record(column_tops_of_terrain(mesh, terrain).tops.tops);
  });
}

}  // namespace quorivex::fuzz
