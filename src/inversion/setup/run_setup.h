// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include "base/report.h"
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

/// Checks mode and tolc; returns beta, 0 where it is still to be chosen.
double start_beta(InversionParameters& par);

ModelSources model_sources(const InversionParameters& par);

/// Derives weights, inactive terms and diagonals from what was read before them.
/// @throws StopRun as calc_W_components and calc_diagonals
void derive_terms(const InversionParameters& par, RunSetup& setup);

/// Reads all files of a run but the input file, and derives what the iterations need.
RunSetup read_run(const InversionParameters& par, Report& report);

/// In mode 1 the target; nothing in mode 2.
std::optional<Target> target_of(const InversionParameters& par, std::int32_t ndata);

/// @throws StopRun when the initial misfit is below the target already
void check_target(const std::optional<Target>& target, double initial_misfit);

/// The first beta where none is given: that at which the model term's diagonal outweighs the data
/// term's 10000 times.
double chosen_beta(const Diagonals& diagonals);

}  // namespace quorivex
