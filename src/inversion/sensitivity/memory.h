// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "inversion/sensitivity/getpar.h"

namespace quorivex {

/// The counts that decide how much memory a sensitivity matrix and an inversion with it take.
struct MatrixCounts {
  std::int64_t ndata = 0;
  std::int64_t nsens = 0;         ///< ground cells, the columns of the matrix
  std::int64_t coefficients = 0;  ///< compressed form: stored, in all rows together
  bool compressed = false;
  std::int64_t mesh_cells = 0;   ///< air included
  std::int64_t grid_points = 0;  ///< compressed form: of the wavelet grid
};

/// The counts of a file whose rows were read.
MatrixCounts counts_of(const SensitivityFile& file);

/// Bytes of the same matrix in full form.
double full_bytes(const MatrixCounts& counts);

/// Bytes of the matrix in memory, in its own form.
double matrix_bytes(const MatrixCounts& counts);

/// Bytes of memory (largest resident set) of a run of quorivex with this matrix, the program itself
/// included. The only estimate of it: every command that states the memory of a run takes it here.
double inversion_bytes(const MatrixCounts& counts);

/// Gives freed memory back to the system. The reader's buffers, freed between pieces of the matrix,
/// would otherwise stay part of the process for the whole run.
void return_freed_memory();

}  // namespace quorivex
