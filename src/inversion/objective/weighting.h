// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/mesh.h"
#include "inversion/objective/alphas.h"
#include "inversion/objective/difference_operator.h"

namespace quorivex {

/// The operators of the model objective. x is the northing axis, y the easting axis, z depth.
struct WeightingOperators {
  std::vector<double> Ws;  ///< sqrt(w alpha_s volume) of each active cell
  DifferenceOperator Wx;
  DifferenceOperator Wy;
  DifferenceOperator Wz;
  RowPieces rows;  ///< of the active cells
  /// What the influence rows add to the diagonal: the sum of v^2 over those of each active cell.
  /// Empty without inactive cells with influence.
  std::vector<double> influence;
};

/// Builds the operators. A row joins cell c1 with its next neighbour c2 along the axis:
///
///     (W m)(r) = v (m(c2) - m(c1)),   v = sqrt(alpha w A h) / h   [m^(1/2)],
///
/// with h the distance of the centres, A the cell's face across the axis and w the 3-D weight at
/// c1, so that |W m|^2 tends to alpha times the volume integral of w (dm/dx)^2. Both cells must be
/// active or have influence; otherwise there is no row.
///
/// @param weightFile  name of a file with the four weight arrays in the order S, E, N, Z, each in
///                    cell order, or "null..." for weights of 1
/// @throws StopRun when the file cannot be read, holds too few or too many values or a negative
///         one; alloc_error
WeightingOperators calc_W_components(const std::string& weightFile, const Mesh& mesh,
                                     const ActiveCells& active, const Alphas& alphas);

}  // namespace quorivex
