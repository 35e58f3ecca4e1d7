// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"

namespace quorivex {

/// A model of the cells, or anything else with a value for each.
struct ShownModel {
  std::string name;
  std::string unit;            ///< "SI"; empty for codes and weights
  std::vector<double> values;  ///< of every cell of the mesh; NaN where there is none
};

/// What the page shows; at least one model, each with at least one finite value in the ground, and
/// none that is infinite.
struct ModelsPage {
  std::string title;
  SharedGround ground;
  const Observations* data = nullptr;  ///< whose stations are shown; nullptr: none are
  std::vector<ShownModel> models;
};

/// What was written.
struct ModelsPageWritten {
  std::size_t bytes = 0;
  std::vector<int> digits;  ///< of each model
};

/// Writes the page of models on one ground. Their values have the digits of a model file; where the
/// page would be too large, those that need most room lose digits, but keep two.
/// @throws StopRun as AtomicFile
ModelsPageWritten write_models_page(const ModelsPage& page, const std::string& output);

}  // namespace quorivex
