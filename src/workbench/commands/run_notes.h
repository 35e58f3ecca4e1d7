// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "workbench/results/finished_run.h"

namespace quorivex {

/// Notes on standard error what is missing of a run, and how it ended where that was not its end.
void print_run_notes(const FinishedRun& run);

}  // namespace quorivex
