// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "workbench/geometry/segment_tree.h"
#include "workbench/model/quantities.h"

namespace quorivex {

/// The cells of a ground with their centres.
struct ModelCells {
  SharedGround ground;
  std::vector<double> eastings;    ///< of the columns' centres, west to east
  std::vector<double> northings;   ///< of the rows', south to north
  std::vector<double> elevations;  ///< of the layers', top to bottom

  SpacePoint centre(const GridCell& at) const {
    return {eastings[as_size(at.i - 1)], northings[as_size(at.j - 1)],
            elevations[as_size(at.k - 1)]};
  }
  /// Of the centre below the top of the highest ground cell of its column.
  double depth(const GridCell& at) const {
    return ground->surface(at.j, at.i) - elevations[as_size(at.k - 1)];
  }
  double volume(const GridCell& at) const {
    const Mesh& mesh = ground->mesh;
    return mesh.de[as_size(at.i - 1)] * mesh.dn[as_size(at.j - 1)] * mesh.dz[as_size(at.k - 1)];
  }
};

/// @throws StopRun for a mesh whose widths are not positive or whose centres are not finite
ModelCells model_cells(SharedGround ground);

/// "cell k 2 i 3 j 4 (easting 4550, northing 7600, elevation -25 m)".
std::string describe_cell(const ModelCells& cells, const GridCell& at);

/// The same of a ground cell by its number, from 1.
std::string describe_cell(const ModelCells& cells, std::int64_t below);

/// Visits the faces across an axis between two ground cells, in the order of the first one, which
/// lies west, south or on top: visit(const GridCell& first, std::int64_t below_of_second).
template <class Visit>
void for_each_face(const Ground& ground, Axis axis, Visit visit) {
  for_each_ground_cell(ground, [&](const GridCell& at) {
    if (axis == Axis::depth) {
      if (at.k < ground.mesh.nz) visit(at, at.below + 1);
      return;
    }
    const std::int32_t i = at.i + (axis == Axis::easting ? 1 : 0);
    const std::int32_t j = at.j + (axis == Axis::northing ? 1 : 0);
    if (i > ground.mesh.ne || j > ground.mesh.nn) return;
    const std::int32_t top = ground.tops(j, i);
    if (at.k > top) visit(at, ground.cells_before(j, i) + at.k - top);
  });
}

}  // namespace quorivex
