// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

#include "inversion/mesh_io/ground.h"
#include "inversion/sensitivity/sensitivity_source.h"
#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {

/// What a sensitivity file holds.
struct SensitivityFile {
  SensitivityState sens;
  SharedGround ground;
};

/// Reads a sensitivity file, full or compressed (docs/file_formats.md). Counts are checked against
/// the file's length before anything is allocated.
/// @throws StopRun "ERROR reading sensitivity file NAME", with a second line that names the record
///         when the file is whole but its contents cannot be right; file_not_found;
///         alloc_error("getpar...")
SensitivityFile getpar(const std::string& name);

/// Reads what stands before the rows: counts, mesh, column tops, the form of the matrix, and wtz.
/// The rest of the result is empty. Throws as `getpar`.
SensitivityFile read_sensitivity_heading(const std::string& name);

// The steps of getpar, in their order.

/// A sensitivity file that is being read.
struct OpenSensitivityFile {
  SensitivitySource source;
  SensitivityFile heading;
};

/// Reads counts, mesh, column tops and the form of the matrix.
OpenSensitivityFile open_sensitivity_file(const std::string& name);
void read_wtz(OpenSensitivityFile& opened);
/// Reads rows and gdiag; the result is whole.
SensitivityFile read_matrix_rows(OpenSensitivityFile opened);

}  // namespace quorivex
