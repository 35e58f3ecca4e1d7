// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "inversion/objective/alphas.h"
#include "inversion/setup/run_setup.h"
#include "inversion/solver/objective_value.h"

namespace quorivex {

/// What one iteration of the inversion found.
struct IterationResult {
  std::int32_t number = 0;
  double beta = 0.0;
  double misfit = 0.0;
  ModelNorm norm;
  double objective = 0.0;
  std::int32_t cg_iterations = 0;
  std::int64_t truncated_cells = 0;
};

/// "!"-lines of the start and the heading of the table; `target` only in mode 1.
std::string summary_head(const ObjectiveValue& start, const Alphas& alphas,
                         const std::optional<Target>& target);

/// One row of the table.
std::string summary_row(const IterationResult& iteration);

}  // namespace quorivex
