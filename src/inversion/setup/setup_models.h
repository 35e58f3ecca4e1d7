// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "base/report.h"
#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/objective/bounds.h"

namespace quorivex {

/// The model lines of the input file: each "VALUE c" or a file name; active cells a file or "null".
struct ModelSources {
  std::string active_cells;
  std::string initial;
  std::string reference;
  std::string lower_bounds;
  std::string upper_bounds;
  bool mref_in_derivatives = false;
};

/// What the inversion starts from; every model is scaled by wtz.
struct ModelSetup {
  ActiveCells active;
  FixedValues fixed;
  std::vector<double> mref;   ///< active part of the reference model
  std::vector<double> model;  ///< initial model
  Bounds bounds;
};

// The steps of setup_models that are no plain calls.

/// @throws StopRun as get_active_cells, and when the reference model is to enter the derivatives
///         although there are inactive cells with influence
ActiveCells read_active_cells(const ModelSources& sources, const Mesh& mesh, const ColumnTops& tops,
                              Report& report);
/// Fills `fixed` and `mref` for the active cells of `setup`.
void read_reference(const std::string& source, View1<const double> wtz, ModelSetup& setup,
                    Report& report);
/// Fills `model` likewise.
void read_initial(const std::string& source, View1<const double> wtz, ModelSetup& setup,
                  Report& report);

/// Reads active cells, reference model, initial model and bounds, in this order, and checks the
/// initial model against the bounds. `wtz` has one entry for each cell below the column tops.
ModelSetup setup_models(const ModelSources& sources, const Mesh& mesh, const ColumnTops& tops,
                        View1<const double> wtz, Report& report);

}  // namespace quorivex
