// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "mesh_io/active_cells.h"
#include "mesh_io/cell_vectors.h"
#include "mesh_io/observations.h"
#include "objective/bounds.h"
#include "objective/inactive_terms.h"
#include "objective/weighting.h"
#include "sensitivity/sensitivity_state.h"
#include "solver/diagonals.h"

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
