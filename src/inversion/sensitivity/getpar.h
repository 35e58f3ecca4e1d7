// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

#include "base/report.h"
#include "inversion/mesh_io/column_tops.h"
#include "inversion/mesh_io/mesh.h"
#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {

/// What a sensitivity file holds.
struct SensitivityFile {
  SensitivityState sens;
  Mesh mesh;
  ColumnTops tops;
};

/// Reads a sensitivity file, full or compressed (docs/file_formats.md). Counts are checked against
/// the file's length before anything is allocated.
/// @throws StopRun "ERROR reading sensitivity file NAME", with a second line that names the record
///         when the file is whole but says what cannot be; file_not_found; alloc_error("getpar...")
SensitivityFile getpar(const std::string& name, Report& report);

/// Reads what stands before the rows: counts, mesh, column tops, the form of the matrix, and wtz.
/// The rest of the result is empty.
/// @throws StopRun as `getpar` does
SensitivityFile read_sensitivity_heading(const std::string& name);

/// Pieces that each row is cut into for parallel products: one for 5000 entries of the mean row.
std::int32_t pieces_of_rows(double mean_entries, std::int32_t threads);

/// Blocks of 10000 cells for parallel products with a full matrix; like the pieces at least one a
/// thread.
std::int32_t blocks_of_cells(std::int32_t nsens, std::int32_t threads);

}  // namespace quorivex
