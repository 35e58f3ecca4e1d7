// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/objective/bounds.h"

namespace quorivex {

/// What the inversion starts from; every model is scaled by wtz.
struct ModelSetup {
  ActiveCells active;
  FixedValues fixed;
  std::vector<double> mref;   ///< active part of the reference model
  std::vector<double> model;  ///< initial model
  Bounds bounds;
};

/// @throws StopRun when the reference model is to enter the derivatives although there are inactive
///         cells with influence
void check_influence(bool mref_in_derivatives, const ActiveCells& active);

/// Derives `fixed` and `mref`, which has room for the active cells, from the reference model of
/// every cell as it was read; `wtz` has one entry per ground cell.
void set_reference(std::vector<double> full, View1<const double> wtz, ModelSetup& setup);

}  // namespace quorivex
