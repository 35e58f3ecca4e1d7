// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "inversion/objective/csr_half.h"

namespace quorivex {

/// First differences along one axis, one row for each pair of neighbours, also those without
/// entries. `inactive` is empty when the run has no inactive cells with influence.
struct DifferenceOperator {
  std::int64_t nrow = 0;
  CsrHalf active;
  CsrHalf inactive;
};

}  // namespace quorivex
