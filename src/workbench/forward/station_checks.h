// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"

namespace quorivex {

/// @throws StopRun for a coordinate beyond a thousand million metres, which would make the kernel
///         overflow
void check_coordinates(const Observations& observations);

/// Sentences about stations outside the mesh, and about those that lie a millimetre or more below
/// the ground.
/// @param heights  of the stations above the ground, metres; NaN where there is none
std::vector<std::string> station_warnings(const Observations& observations, const Mesh& mesh,
                                          const std::vector<double>& heights);

/// Sentences about stations on an edge or corner of a cell, where the field is infinite.
std::vector<std::string> edge_warnings(const Observations& observations, const Ground& ground);

}  // namespace quorivex
