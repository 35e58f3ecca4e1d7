// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "workbench/model/drill_holes.h"

namespace quorivex {

/// Which interval each ground cell has.
struct HoleCells {
  std::vector<std::int32_t> intervals;  ///< one per ground cell, numbers from 1; 0: none
  std::int64_t passed = 0;              ///< cells that a hole passes through
  std::int64_t near = 0;                ///< other cells within reach
};

/// A cell that holes pass through has the interval with the longest path in it; another one the
/// interval whose path is nearest to its centre, if that is not farther than `reach` (m). Of equal
/// ones it is the first.
HoleCells cells_of_holes(const Ground& ground, const DrillHoles& holes, double reach);

/// Notes how many cells have a value, and how many intervals give none, lie above the ground or
/// beside the mesh.
void note_reach(const Ground& ground, const DrillHoles& holes, const HoleCells& cells,
                SourceNotes& notes);

}  // namespace quorivex
