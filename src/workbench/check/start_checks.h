// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "inversion/setup/run_setup.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Reads the alphas into `setup` and prints them with their length scales; `mesh` may be null.
bool check_alphas(const InversionParameters& input, const Mesh* mesh, RunSetup& setup,
                  Findings& findings);

/// Prints the ranges of the 3-D weights of a file that the run could read.
void show_weights(const std::string& name, const Mesh& mesh);

/// Prints misfit, target and beta of the first iteration, warns of targets that will hardly be
/// reached, and estimates how long a run takes. `setup` holds all that a run reads.
void check_start(const InversionParameters& input, RunSetup& setup, Findings& findings);

}  // namespace quorivex
