// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "base/ranks.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"

namespace quorivex {

/// How the scale `wtz` of the cells makes up for the decay of the sensitivities (docs/theory.md,
/// equations 9 to 11).
struct ScaleRule {
  enum class Kind { distance, depth, sensitivity, none };
  Kind kind = Kind::distance;
  double exponent = 3.0;  ///< of the distance or the depth
  double offset = 0.0;    ///< m, added to the distance or the depth
};

/// Half the smallest width of a cell, the offset where none is given.
double default_offset(const Ground& ground);

/// wtz of each ground cell, the largest 1. Collective where the team is all processes.
std::vector<double> cell_scale(const Ground& ground, const Observations& observations,
                               const ScaleRule& rule, ranks::Team team = ranks::Team::alone);

}  // namespace quorivex
