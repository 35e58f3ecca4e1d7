// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/describe_mesh.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace quorivex {
namespace {

/// Without the rounding errors of sums and differences.
double to_millimetre(double metres) { return std::round(metres * 1000.0) / 1000.0 + 0.0; }

std::string describe_axis(const char* axis, double from, double to, const char* cells,
                          const std::vector<double>& widths) {
  const auto [min, max] = std::minmax_element(widths.begin(), widths.end());
  std::string text = fmt::format("  {:<10} {} to {} m, {} of {}", axis, to_millimetre(from),
                                 to_millimetre(to), cells, to_millimetre(*min));
  if (to_millimetre(*max) != to_millimetre(*min))
    text += fmt::format(" to {}", to_millimetre(*max));
  return text + " m\n";
}

}  // namespace

std::string format_bytes(double bytes) {
  if (bytes >= 1e9) return fmt::format("{:.2f} GB", bytes / 1e9);
  if (bytes >= 1e6) return fmt::format("{:.1f} MB", bytes / 1e6);
  return fmt::format("{:.1f} kB", bytes / 1e3);
}

std::string format_counts(std::int64_t east, std::int64_t north, std::int64_t depth,
                          std::string_view what) {
  return fmt::format("{} x {} x {} {} along easting, northing and depth", east, north, depth, what);
}

std::string describe_mesh(const Mesh& mesh) {
  return fmt::format("Mesh: {}, {} in all\n", format_counts(mesh.ne, mesh.nn, mesh.nz, "cells"),
                     mesh.cells()) +
         describe_axis("easting", mesh.easting_nodes.front(), mesh.easting_nodes.back(), "cells",
                       mesh.de) +
         describe_axis("northing", mesh.northing_nodes.front(), mesh.northing_nodes.back(), "cells",
                       mesh.dn) +
         describe_axis("elevation", mesh.z0 - mesh.depth_nodes.front(),
                       mesh.z0 - mesh.depth_nodes.back(), "layers", mesh.dz);
}

}  // namespace quorivex
