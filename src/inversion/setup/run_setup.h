// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include "inversion/input/input_file.h"
#include "inversion/mesh_io/observations.h"
#include "inversion/objective/alphas.h"
#include "inversion/objective/inactive_terms.h"
#include "inversion/objective/weighting.h"
#include "inversion/sensitivity/getpar.h"
#include "inversion/setup/setup_models.h"
#include "inversion/solver/diagonals.h"
#include "inversion/solver/problem.h"

namespace quorivex {

/// What a run has read and derived before its first iteration, in the order of the run.
struct RunSetup {
  SensitivityFile file;
  Observations data;
  ModelSetup models;
  Alphas alphas;
  WeightingOperators weights;
  InactiveTerms inactive;
  Diagonals diagonals;

  /// References to these.
  Problem problem(bool mref_in_derivatives) const;
};

/// What mode 1 aims at.
struct Target {
  double chifact = 0.0;
  double misfit = 0.0;  ///< number of data times chifact
};

/// Checks mode and tolc and sets tolc where it is 0. @throws StopRun
void check_mode_and_tolc(InversionParameters& input);

/// The beta of mode 2; 0 where it is still to be chosen. The mode has been checked.
double initial_beta(const InversionParameters& input);

/// Derives weights, inactive terms and diagonals from what was read before them.
/// @throws StopRun as calc_W_components and calc_diagonals
void derive_terms(const InversionParameters& input, RunSetup& setup);

/// In mode 1 the target; nothing in mode 2.
std::optional<Target> target_of(const InversionParameters& input, std::int32_t ndata);

/// @throws StopRun when the initial misfit is below the target already
void check_target(const std::optional<Target>& target, double initial_misfit);

/// The first beta where none is given: that at which the model term's diagonal outweighs the data
/// term's 10000 times.
double chosen_beta(const Diagonals& diagonals);

}  // namespace quorivex
