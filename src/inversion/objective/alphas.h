// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "base/report.h"

namespace quorivex {

/// Weights of the smallness, easting, northing and vertical terms of the model objective.
struct Alphas {
  double s = 0.0001;
  double e = 1.0;
  double n = 1.0;
  double z = 1.0;
};

/// Takes the alphas line: "null..." for the defaults, four alphas (s, e, n, z), or three length
/// scales L = sqrt(alpha / alpha_s) in metres, whose largest direction then has alpha 1. Prints
/// both forms, the given one first.
/// @throws StopRun when neither form can be read, an alpha is negative, or all are zero
Alphas read_alphas(const std::string& alphaLine, Report& report);

}  // namespace quorivex
