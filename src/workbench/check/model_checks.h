// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "inversion/setup/run_setup.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Reads active cells, models and bounds into `setup`, continues where a step fails, and prints
/// what they hold; true when all of them could be read. `setup.file` has been read.
bool check_models(const InversionParameters& input, RunSetup& setup, Findings& findings);

}  // namespace quorivex
