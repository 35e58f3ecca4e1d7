// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "inversion/objective/difference_operator.h"

namespace quorivex {

/// W^T W of the three difference operators, cell by cell: for active cell c, from 0,
///
///     (W^T W x)(c) = sum over its neighbours n of v^2 (x(c) - x(n)) + influence(c) x(c)
///
/// The neighbour below an active cell is the next one in the active vector, so that depth needs no
/// positions. Where there is no neighbour the position is the cell's own and the weight 0.
struct Stencil {
  struct Pairs {
    std::vector<double> weights;     ///< v^2 of each cell with the next one along the axis
    std::vector<std::int32_t> next;  ///< from 0
    std::vector<std::int32_t> before;
  };

  Pairs x;
  Pairs y;
  std::vector<double> z_weights;  ///< v^2 of each cell with the one below
  std::vector<double>
      influence;  ///< v^2 of the pairs with inactive cells; empty without such cells
};

Stencil make_stencil(const DifferenceOperator& Wx, const DifferenceOperator& Wy,
                     const DifferenceOperator& Wz, std::int64_t ncell);

}  // namespace quorivex
