// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "workbench/appraisal/verdict.h"
#include "workbench/results/finished_run.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {

/// The facts about a run that its appraisal needs, from its last iteration.
/// @param model  of the last iteration, every cell of the mesh, NaN in air
/// @param fit    data of the last iteration
/// @throws StopRun for active cells or bounds that cannot be read
RunFacts collect_run_facts(const FinishedRun& run, const std::vector<double>& model,
                           const DataFit& fit);

}  // namespace quorivex
