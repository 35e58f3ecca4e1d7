// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/start_model.h"

#include <fmt/format.h>

#include <cmath>

#include "base/stop_run.h"
#include "base/view1.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/model_files.h"

namespace quorivex {
namespace {

struct Bound {
  const char* label;
  const std::string& source;
  double side;  ///< -1 lower, 1 upper
};

/// Moves active cells that are beyond the bound by no more than the rounding of the file onto it.
void keep_within(const FinishedRun& run, const FinishedIteration& iteration, const Bound& bound,
                 const ActiveCells& active, std::vector<double>& model) {
  std::vector<double> limits = allocate<double>(as_size(active.ncell), "start_model");
  read_active_model(source_in(run, bound.source), bound.label, active, limits);
  for (std::size_t cell = 0; cell < model.size(); ++cell) {
    const std::int32_t entry = active.map[cell];
    if (entry <= 0) continue;
    double& value = model[cell];
    const double limit = limits[as_size(entry - 1)];
    const double beyond = bound.side * (value - limit);
    if (beyond <= 0.0) continue;
    if (!(beyond <= kModelRounding * std::abs(value))) {
      stop_run(
          fmt::format(" ERROR: cell {} of {} is {:.6g}, but the {} are {:.6g} there.\n The bounds "
                      "were changed since the run of {}.",
                      cell + 1, iteration.model_file, value, bound.label, limit, run.input_file));
    }
    value = limit;
  }
}

}  // namespace

std::vector<double> start_model(const FinishedRun& run, const FinishedIteration& iteration) {
  const InversionParameters& p = run.parameters;
  std::vector<double> model = read_model(run, iteration);
  const ActiveCells active = get_active_cells(source_in(run, p.activeCellFile), run.ground);
  keep_within(run, iteration, {"lower bounds", p.lowerBounds, -1.0}, active, model);
  keep_within(run, iteration, {"upper bounds", p.upperBounds, 1.0}, active, model);
  for (double& value : model) {
    if (std::isnan(value)) value = kAirValue;
  }
  return model;
}

}  // namespace quorivex
