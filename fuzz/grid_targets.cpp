// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/terrain/gdal_grid.h"

namespace quorivex::fuzz {
namespace {

/// What a grid of a file with this ending gives. GDAL runs in a process of its own, as ever: what
/// it does with the bytes is not to be seen here, but whatever it does must end in a grid or a
/// message.
std::string read(std::string_view bytes, const std::string& ending) {
  [[maybe_unused]] static const bool kLoaded = (preload_gdal(), true);
  const std::string name = scratch().write("file" + ending, bytes);
  return printable_outcome([&] {
    const auto grid = read_gdal_grid(name);
    if (!grid) return std::string();
    check_elevations(*grid, name);
    const double middle = 0.5 * (grid->west + grid->east());
    return test::record(grid->nodes, grid->elevation(middle, grid->north()),
                        grid->elevation(grid->west - 1.0, grid->south + 0.3 * grid->height),
                        grid->mean_elevation(middle, grid->south, 3.0 * grid->width, grid->height));
  });
}

}  // namespace

std::string grid(std::string_view bytes) { return read(bytes, ".tif"); }

std::string netcdf(std::string_view bytes) { return read(bytes, ".nc"); }

}  // namespace quorivex::fuzz
