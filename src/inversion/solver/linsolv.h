// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/view1.h"
#include "inversion/objective/bounds.h"
#include "inversion/solver/objective_value.h"
#include "inversion/solver/pcg.h"
#include "inversion/solver/problem.h"

namespace quorivex {

/// Cells that the last accepted step left on a bound, kept from one update to the next.
struct LinsolvState {
  std::vector<std::int32_t> truncated;  ///< room for ncell cell numbers; the first ntrunc count
  std::int32_t ntrunc = 0;
};

/// A model and the objective there.
struct CurrentModel {
  std::vector<double> model;
  ObjectiveValue value;
};

/// Sets every cell at or beyond a bound to that bound and lists it in `state`, in cell order.
void project_on_bounds(const Bounds& bounds, View1<double> model, LinsolvState& state);

/// Cells of the survey on a bound.
std::int64_t cells_on_bounds(const ActiveCells& active, const LinsolvState& state);

/// One model update at trade-off `beta`: conjugate gradients on the cells that the last update left
/// free, a short gradient move of the others, and a line search by step halving in which every
/// trial is projected on the bounds.
///
/// @param current  replaced by the accepted model, whose phi is strictly smaller
/// @throws StopRun "Error: All cells reach the bounds!", "Not able to reduce the objective
///         function."; alloc_error("linsolv")
CgResult linsolv(const Problem& problem, double beta, const CgControl& control,
                 CurrentModel& current, LinsolvState& state);

}  // namespace quorivex
