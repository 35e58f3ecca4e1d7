// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "workbench/results/finished_run.h"

namespace quorivex {

/// @throws StopRun when the output would replace a file that the run read or left
void refuse_overwriting_run_files(const FinishedRun& run, const std::string& output);

}  // namespace quorivex
