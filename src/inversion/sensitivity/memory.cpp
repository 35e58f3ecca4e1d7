// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/memory.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace quorivex {
namespace {

// Measured with /usr/bin/time on runs of 512 to 524,288 cells, all or half of them ground.
constexpr double kProgramBytes = 4.9e6;        // code, libraries, stacks
constexpr double kBytesPerGroundCell = 182.0;  // vectors and model terms of a run
constexpr double kBytesPerMeshCell = 4.0;      // map of the active cells
constexpr double kBytesPerGridPoint = 16.0;    // two vectors on the wavelet grid

}  // namespace

MatrixCounts counts_of(const SensitivityFile& file) {
  const SensitivityState& sens = file.sens;
  return {.ndata = sens.ndata,
          .nsens = sens.nsens,
          .coefficients = sens.compressed ? sens.Gs.entries() : 0,
          .compressed = sens.compressed,
          .mesh_cells = file.ground->mesh.cells(),
          .grid_points = sens.compressed ? sens.nwav : 0};
}

double full_bytes(const MatrixCounts& counts) {
  return 4.0 * static_cast<double>(counts.ndata) * static_cast<double>(counts.nsens);
}

double matrix_bytes(const MatrixCounts& counts) {
  if (!counts.compressed) return full_bytes(counts);
  return static_cast<double>(
      SparseMatrix::bytes_for(counts.grid_points, counts.ndata, counts.coefficients));
}

double inversion_bytes(const MatrixCounts& counts) {
  return kProgramBytes + matrix_bytes(counts) +
         kBytesPerGroundCell * static_cast<double>(counts.nsens) +
         kBytesPerMeshCell * static_cast<double>(counts.mesh_cells) +
         kBytesPerGridPoint * static_cast<double>(counts.grid_points);
}

void return_freed_memory() {
#ifdef __GLIBC__
  ::malloc_trim(0);
#endif
}

}  // namespace quorivex
