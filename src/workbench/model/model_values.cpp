// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/model_values.h"

#include <limits>

#include "inversion/input/conventions.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/mesh_io/model_files.h"
#include "workbench/model/operation_keys.h"

namespace quorivex {

std::vector<double> read_model_values(const Operation& operation, const std::string& name,
                                      const Ground& ground) {
  std::vector<double> full = allocate<double>(as_size(ground.mesh.cells()), "qvx model");
  read_for(operation, [&] { return read_full_model(name, "model", ground, full); });
  std::vector<double> values = allocate<double>(as_size(ground.cells()), "qvx model");
  full_to_below(ground, full, values);
  for (double& value : values) {
    if (value == kAirValue) value = std::numeric_limits<double>::quiet_NaN();
  }
  return values;
}

Selection select_file(const Operation& operation, const ModelSources& sources) {
  const std::vector<double> values =
      read_model_values(operation, needed_text(operation, "name"), *sources.cells.ground);
  return select_with_values(sources.cells,
                            [&](const GridCell& at) { return values[as_size(at.below - 1)]; });
}

}  // namespace quorivex
