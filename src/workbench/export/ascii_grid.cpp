// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/ascii_grid.h"

#include <fmt/format.h>

#include <iterator>

#include "base/atomic_file.h"

namespace quorivex {

void write_ascii_grid(const std::string& name, const Raster& raster) {
  AtomicFile file(name);
  file.append(fmt::format(
      "ncols {}\nnrows {}\nxllcorner {}\nyllcorner {}\ncellsize {}\nNODATA_value {}\n",
      raster.columns, raster.rows, raster.west, raster.south, raster.cell, Raster::kNoData));
  std::string line;
  auto value = raster.values.begin();
  for (std::int64_t row = 0; row < raster.rows; ++row) {
    line.clear();
    for (std::int64_t column = 0; column < raster.columns; ++column) {
      fmt::format_to(std::back_inserter(line), "{}{:.6g}", column == 0 ? "" : " ", *value++);
    }
    line += '\n';
    file.append(line);
  }
  file.commit();
}

}  // namespace quorivex
