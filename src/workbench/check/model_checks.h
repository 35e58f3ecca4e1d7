// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "inversion/setup/run_setup.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Reads active cells, models and bounds into `setup`, going on where a step fails, and says what
/// they hold; true when all of them could be read. The sensitivity file is there already.
bool check_models(const InversionParameters& input, RunSetup& setup, Findings& findings);

}  // namespace quorivex
