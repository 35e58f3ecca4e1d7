// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/survey/survey_notes.h"
#include "workbench/survey/thinning.h"

namespace quorivex {

/// Estimates the errors of the readings from differences along lines and from crossings, and
/// remarks both with their numbers of samples and the floor that they propose.
/// @param floor  the one that was given, nT; 0 without one
/// @return the floor to use: that one, or the proposed one where `needed`
/// @throws StopRun where one is needed and neither estimate has enough samples
double floor_by_estimates(const Stations& stations, const std::vector<std::string>& line_names,
                          double floor, bool needed, SurveyNotes& notes);

}  // namespace quorivex
