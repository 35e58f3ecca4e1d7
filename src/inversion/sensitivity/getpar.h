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
  std::int64_t bytes_behind = 0;  ///< after its last record; known once the rows were read
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
/// With several processes: from here on the ground is that of the rows of this process with their
/// neighbours, and what is read is its part of the file. Nothing else than that with one process.
void take_part(OpenSensitivityFile& opened);
/// One number for each ground cell of the file, or of those that this process has.
void read_wtz(OpenSensitivityFile& opened);
/// Reads rows and gdiag; the result is whole. Collective after `take_part`.
SensitivityFile read_matrix_rows(OpenSensitivityFile opened);

}  // namespace quorivex
