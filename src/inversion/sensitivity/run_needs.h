// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "inversion/sensitivity/getpar.h"

namespace quorivex {

/// Memory of a run of the inversion beside its matrix, in bytes a cell (docs/performance.md).
inline constexpr double kRunBytesPerCell = 280.0;

/// The matrix in full form, and in the form of the file, in bytes.
double full_bytes(const SensitivityState& sens);
double matrix_bytes(const SensitivityState& sens);

/// Memory of an inversion: the matrix, the vectors and operators of a run and, in compressed form,
/// vectors on the wavelet grid.
double inversion_bytes(const SensitivityFile& file);

}  // namespace quorivex
