// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "base/report.h"
#include "inversion/control/summary_table.h"
#include "inversion/control/timer.h"
#include "inversion/objective/alphas.h"
#include "inversion/solver/linsolv.h"
#include "inversion/solver/problem.h"

namespace quorivex {

/// What the iterations start from, besides the model.
struct InversionStart {
  const Alphas& alphas;
  std::optional<Target> target;  ///< only in mode 1
  double beta;
};

/// Runs iterations until the target misfit is reached (mode 1, lowering beta on the way) or,
/// without a target, until the objective stops changing (mode 2). Each iteration updates `current`,
/// adds a row to the summary and leaves one predicted-data file and one model file. There is no
/// limit on their number.
void run_inversion(const Problem& problem, const InversionStart& start, CurrentModel& current,
                   Timer& timer, Report& report);

}  // namespace quorivex
