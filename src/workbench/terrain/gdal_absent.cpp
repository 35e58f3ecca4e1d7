// SPDX-License-Identifier: GPL-3.0-or-later
// In place of gdal_grid.cpp where quorivex is built without GDAL.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <fstream>

#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/terrain/gdal_grid.h"

namespace quorivex {
namespace {

/// Bytes that no text has, or a first word of a grid in text.
bool looks_like_grid(std::string_view beginning) {
  constexpr std::array<std::string_view, 6> kWords{"ncols",         "nrows",  "dsaa",
                                                   "datasetheader", "north:", "#points"};
  const std::string text = lower_case(trim(beginning));
  return beginning.find('\0') != std::string_view::npos ||
         std::any_of(kWords.begin(), kWords.end(),
                     [&](std::string_view word) { return text.starts_with(word); });
}

}  // namespace

void preload_gdal() {}

std::optional<TerrainGrid> read_gdal_grid(const std::string& name) {
  std::array<char, 200> bytes{};
  std::ifstream file(name, std::ios::binary);
  file.read(bytes.data(), bytes.size());
  if (looks_like_grid({bytes.data(), static_cast<std::size_t>(file.gcount())})) {
    stop_run(fmt::format(
        " ERROR: the terrain {} looks like a grid, and this program was built without GDAL, which\n"
        " reads grids (-DQUORIVEX_GDAL=ON). Give the terrain as points: easting, northing and\n"
        " elevation (m) per line.",
        name));
  }
  return std::nullopt;
}

}  // namespace quorivex
