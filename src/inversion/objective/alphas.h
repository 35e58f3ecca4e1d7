// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorivex {

/// Weights of the smallness, easting, northing and vertical terms of the model objective.
struct Alphas {
  double s = 0.0001;
  double e = 1.0;
  double n = 1.0;
  double z = 1.0;
};

/// Length scales L = sqrt(alpha / alpha_s) in metres.
struct LengthScales {
  double e = 0.0;
  double n = 0.0;
  double z = 0.0;
};

/// The alphas line of the input file, in both forms.
struct AlphaLine {
  Alphas alphas;
  LengthScales lengths;
  bool lengths_given = false;  ///< the line holds length scales
};

/// Reads the alphas line: "null..." for the defaults, four alphas (s, e, n, z), or three length
/// scales, whose largest direction then has alpha 1.
/// @throws StopRun when neither form can be read, an alpha is negative, or all are zero
AlphaLine read_alphas(const std::string& line);

}  // namespace quorivex
