// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"

namespace quorivex::test {

/// A mesh with these nodes, all of it ground; `up` falls.
inline Ground ground_of(const std::vector<double>& east, const std::vector<double>& north,
                        const std::vector<double>& up, std::int32_t top = 0) {
  const auto widths = [](const std::vector<double>& nodes) {
    std::vector<double> differences;
    for (std::size_t i = 1; i < nodes.size(); ++i)
      differences.push_back(std::abs(nodes[i] - nodes[i - 1]));
    return differences;
  };
  Mesh mesh;
  mesh.easting_nodes = east;
  mesh.northing_nodes = north;
  for (const double u : up) mesh.depth_nodes.push_back(up[0] - u);
  mesh.z0 = up[0];
  mesh.de = widths(east);
  mesh.dn = widths(north);
  mesh.dz = widths(up);
  mesh.ne = static_cast<std::int32_t>(mesh.de.size());
  mesh.nn = static_cast<std::int32_t>(mesh.dn.size());
  mesh.nz = static_cast<std::int32_t>(mesh.dz.size());
  const ColumnTops tops{mesh.nn, mesh.ne,
                        std::vector<std::int32_t>(mesh.de.size() * mesh.dn.size(), top)};
  return make_ground(mesh, tops);
}

/// A survey without data: the inducing field, and one anomaly direction.
inline Observations field(double incl, double decl, double strength, double aincl, double adecl) {
  Observations survey;
  survey.incl = incl;
  survey.decl = decl;
  survey.geomag = strength;
  survey.aincl = aincl;
  survey.adecl = adecl;
  return survey;
}

}  // namespace quorivex::test
