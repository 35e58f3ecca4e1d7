// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/mesh_io/observations.h"
#include "inversion/objective/bounds.h"
#include "inversion/objective/inactive_terms.h"
#include "inversion/objective/weighting.h"
#include "inversion/sensitivity/sensitivity_state.h"
#include "inversion/solver/diagonals.h"

namespace quorivex {

/// Everything about an inversion that does not change while it runs.
struct Problem {
  const SensitivityState& sens;
  const ActiveCells& active;
  const FixedValues& fixed;
  const Observations& data;
  const std::vector<double>& mref;
  bool mref_in_derivatives;
  const Bounds& bounds;
  const WeightingOperators& weights;
  const InactiveTerms& inactive;
  const Diagonals& diagonals;
};

}  // namespace quorivex
