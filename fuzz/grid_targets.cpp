// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/terrain/ascii_grid.h"
#include "workbench/terrain/netcdf_grid.h"
#include "workbench/terrain/netcdf_header.h"

namespace quorivex::fuzz {
namespace {

std::string looked_up(const TerrainGrid& grid, const std::string& name) {
  check_elevations(grid, name);
  const double middle = 0.5 * (grid.west + grid.east());
  return test::record(grid.nodes, grid.elevation(middle, grid.north()),
                      grid.elevation(grid.west - 1.0, grid.south + 0.3 * grid.height));
}

}  // namespace

std::string grid(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  return outcome([&] {
    std::optional<TextFile> file = TextFile::open(name);
    return looked_up(read_ascii_grid(name, *file), name);
  });
}

std::string netcdf(std::string_view bytes) {
  if (!is_netcdf(bytes)) return "";  // read_terrain takes it for points
  const std::string name = scratch_file(bytes);
  return outcome([&] { return looked_up(read_netcdf_grid(name), name); });
}

}  // namespace quorivex::fuzz
