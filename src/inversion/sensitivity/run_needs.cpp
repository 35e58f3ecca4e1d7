// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/run_needs.h"

namespace quorivex {

double full_bytes(const SensitivityState& sens) {
  return 4.0 * static_cast<double>(sens.ndata) * sens.nsens;
}

double matrix_bytes(const SensitivityState& sens) {
  return sens.compressed ? static_cast<double>(sens.Gs.entries() * SparseRows::kEntryBytes)
                         : full_bytes(sens);
}

double inversion_bytes(const SensitivityFile& file) {
  const double grid = file.sens.compressed ? 8.0 * 2.0 * file.sens.nwav : 0.0;
  const double matrix =
      file.sens.compressed ? static_cast<double>(file.sens.Gs.bytes()) : full_bytes(file.sens);
  return matrix + kRunBytesPerCell * static_cast<double>(file.ground->mesh.cells()) + grid;
}

}  // namespace quorivex
