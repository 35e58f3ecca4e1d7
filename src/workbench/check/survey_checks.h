// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Sentences about a field or data in tesla, and about a field unlike the Earth's.
std::vector<std::string> unit_hints(const Observations& observations);

/// Says what the observations hold, and warns of units, directions and standard deviations that can
/// hardly be meant.
void check_survey(const Observations& observations, Findings& findings);

}  // namespace quorivex
