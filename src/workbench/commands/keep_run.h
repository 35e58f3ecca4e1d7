// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "results/finished_run.h"

namespace quorivex {

/// @throws StopRun when the output would replace a file that the run read or left
void keep_files_of_run(const FinishedRun& run, const std::string& output);

}  // namespace quorivex
