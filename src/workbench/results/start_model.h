// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "workbench/results/iteration_files.h"

namespace quorivex {

/// The model of an iteration as one to start from: susceptibility (SI) of every cell of the mesh,
/// -100 where the file has it. An active cell that the six digits of the file put beyond a bound,
/// where a run would refuse it, is on the bound.
/// @throws StopRun as `read_model`, and for a cell farther out: the bounds were changed
std::vector<double> start_model(const FinishedRun& run, const FinishedIteration& iteration);

}  // namespace quorivex
