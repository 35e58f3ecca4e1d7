// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"

namespace quorivex {

/// Number from 1 of the cell that holds x; 0 outside the nodes.
std::int32_t cell_at(const std::vector<double>& nodes, double x);

/// Heights of the stations above the top of the highest ground cell below them, metres; NaN outside
/// the mesh.
std::vector<double> heights_above_cells(const Observations& observations, const Ground& ground);

}  // namespace quorivex
