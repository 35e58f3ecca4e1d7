// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "inversion/sensitivity/sensitivity_source.h"
#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {

// How a process of several reads its part of the rows; the source stands at the first row. Both are
// collective. What a serial run refuses is refused with the same message.

/// Reads the coefficients of the own pieces and sets sens.Gs and sens.part.shares. Each process
/// looks at the positions of its share of the rows, counts them, and tells the others where in
/// these rows theirs lie.
void read_part_of_sparse_rows(SensitivitySource& source, SensitivityState& sens);

/// Reads the own columns of all rows.
void read_part_of_full_rows(SensitivitySource& source, SensitivityState& sens);

}  // namespace quorivex
