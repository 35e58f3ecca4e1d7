// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/describe_mesh.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace quorivex {
namespace {

/// Without the rounding errors of sums and differences.
double shown(double metres) { return std::round(metres * 1000.0) / 1000.0 + 0.0; }

std::string axis_in_words(const char* axis, double from, double to, const char* cells,
                          const std::vector<double>& widths) {
  const auto [least, most] = std::minmax_element(widths.begin(), widths.end());
  std::string text = fmt::format("  {:<10} {} to {} m, {} of {}", axis, shown(from), shown(to),
                                 cells, shown(*least));
  if (shown(*most) != shown(*least)) text += fmt::format(" to {}", shown(*most));
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
         axis_in_words("easting", mesh.easting_nodes.front(), mesh.easting_nodes.back(), "cells",
                       mesh.de) +
         axis_in_words("northing", mesh.northing_nodes.front(), mesh.northing_nodes.back(), "cells",
                       mesh.dn) +
         axis_in_words("elevation", mesh.z0 - mesh.depth_nodes.front(),
                       mesh.z0 - mesh.depth_nodes.back(), "layers", mesh.dz);
}

}  // namespace quorivex
