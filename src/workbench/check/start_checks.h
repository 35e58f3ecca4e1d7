// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "inversion/setup/run_setup.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Reads the alphas into `setup` and says what they weigh; `mesh` may be missing.
bool check_alphas(const InversionParameters& input, const Mesh* mesh, RunSetup& setup,
                  Findings& findings);

/// Says what the 3-D weights of an input file that was read without a fault hold.
void show_weights(const std::string& name, const Mesh& mesh);

/// Says with which misfit, target and beta the first iteration begins, warns of targets that will
/// hardly be reached, and measures how long a run takes. All that a run reads is in `setup`.
void check_start(const InversionParameters& input, RunSetup& setup, Findings& findings);

}  // namespace quorivex
