// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "report_page/verdict.h"
#include "results/finished_run.h"
#include "results/pass_files.h"

namespace quorivex {

/// What the verdict on a run needs to know, from its last pass.
/// @param model  of the last pass, every cell of the mesh, NaN in air
/// @param fit    data of the last pass
/// @throws StopRun for active cells or bounds that cannot be read
Findings find_out(const FinishedRun& run, const std::vector<double>& model, const DataFit& fit);

}  // namespace quorivex
