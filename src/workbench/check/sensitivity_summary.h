// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "base/view1.h"
#include "inversion/sensitivity/getpar.h"

namespace quorivex {

/// How far a low-pass filter h is from an orthonormal one: the largest of |sum of h(k)^2 - 1| and
/// |sum of h(k) h(k+2m)|, m = 1, 2, ...; infinite for an odd number of coefficients.
double filter_defect(View1<const double> low_pass);

/// What a sensitivity file holds, in lines of text.
std::string sensitivity_in_words(const SensitivityFile& file);

/// What the reader of a sensitivity file accepts but an inversion should not be given, a sentence
/// or two each; empty for a good file.
std::vector<std::string> doubts_about(const SensitivityFile& file);

}  // namespace quorivex
