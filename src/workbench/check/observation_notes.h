// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// What the reader of an observations file passes over: sentences to be noted, and some to warn of.
struct ObservationNotes {
  std::vector<std::string> notes;     ///< rows after the last datum, stations at the same place
  std::vector<std::string> warnings;  ///< decimal commas
};

/// @param name  of the file from which the observations were read
ObservationNotes observation_notes(const std::string& name, const Observations& observations);

/// The same as findings of `qvx check`.
void note_observations(const std::string& name, const Observations& observations,
                       Findings& findings);

}  // namespace quorivex
