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

/// True for a file that begins otherwise than every sensitivity file does; false for a missing or
/// empty one.
bool is_other_file(const std::string& name);

/// Counts, mesh, form, size and memory of the sensitivity file `name`, in lines of text.
std::string describe_sensitivity(const std::string& name, const SensitivityFile& file);

/// What the reader of a sensitivity file accepts but would spoil an inversion, or shows that the
/// file is not as it was written, a sentence each; empty for a good file.
std::vector<std::string> find_matrix_faults(const SensitivityFile& file);

}  // namespace quorivex
