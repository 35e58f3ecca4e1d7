// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/survey/thinning.h"

namespace quorivex {

/// What coordinates in degrees or kilometres look like: stations that span less than five metres,
/// or are less than 20 cm from each other (median). A sentence, or nothing.
std::optional<std::string> coordinate_doubt(const Stations& stations);

/// @throws StopRun where the largest value is below 1e-4 nT, which a field in tesla has and no
///         survey
void refuse_tesla(const std::vector<double>& field);

/// A percentage such as 0.05, which was perhaps meant as a fraction. A sentence, or nothing.
std::optional<std::string> percent_doubt(double percent);

/// What a strength of the Earth's field given in tesla, gauss, millitesla or microtesla is in nT;
/// nothing for any other value.
std::optional<double> strength_in_nanotesla(double value);

}  // namespace quorivex
