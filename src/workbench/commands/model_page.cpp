// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/model_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/stop_run.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/mesh_io/model_files.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/page/packed_values.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {
namespace {

constexpr const char* kSi = "SI";

/// Codes of active cells: a model has other values than these.
bool has_codes_alone(const std::vector<double>& values, const Ground& ground) {
  bool codes = true;
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const double value = values[as_size(at.cell - 1)];
    codes = codes && (std::isnan(value) || std::abs(value) == 1.0 || value == 0.0);
  });
  return codes;
}

ShownModel read_shown_model(const std::string& name, const Ground& ground) {
  ShownModel model{.name = name, .unit = kSi, .values = {}};
  model.values = allocate<double>(as_size(ground.mesh.cells()), "qvx model");
  read_full_model(name, "model", ground, model.values);
  bool any = false;
  for_each_ground_cell(ground, [&](const GridCell& at) {
    double& value = model.values[as_size(at.cell - 1)];
    if (value == kAirValue) value = std::numeric_limits<double>::quiet_NaN();
    any = any || !std::isnan(value);
  });
  if (!any) stop_run(fmt::format(" ERROR: every ground cell is air ({:g}) in {}", kAirValue, name));
  if (has_codes_alone(model.values, ground)) model.unit.clear();
  return model;
}

}  // namespace

std::vector<ShownModel> read_shown_models(const std::vector<std::string>& names,
                                          const Ground& ground) {
  std::vector<ShownModel> models;
  models.reserve(names.size());
  for (const std::string& name : names) models.push_back(read_shown_model(name, ground));
  return models;
}

ShownModel shown_quantity(const QuantityFile& file, const ModelQuantities& quantities,
                          const ModelCells& cells) {
  const bool si = file.quantity < Quantity::active;
  return {.name = fmt::format("{} ({})", rule_of(file.quantity).name, file.name),
          .unit = si ? kSi : "",
          .values = values_of_cells(file.quantity, quantities, cells)};
}

void write_and_tell(const ModelsPage& page, const std::string& output) {
  const ModelsPageWritten written = write_models_page(page, output);
  const int fewest = *std::min_element(written.digits.begin(), written.digits.end());
  fmt::print("{}: {}, {} model{}{}. Open it with a browser.\n", output,
             format_bytes(static_cast<double>(written.bytes)), page.models.size(),
             page.models.size() == 1 ? "" : "s",
             fewest < kModelDigits ? fmt::format(", rounded to {} digits or more", fewest) : "");
  if (written.bytes > kMaxBytes) {
    print_warning(fmt::format("{} is large for a browser; show fewer models on a page", output));
  }
}

}  // namespace quorivex
