// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/run_facts.h"

#include <cmath>

#include "base/stop_run.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/mesh_io/model_files.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "collect_run_facts";
// Model files hold six digits: a value on a bound is off by half of the last at most.
constexpr double kPrinted = 5.1e-6;

void count_cells_at_bounds(const FinishedRun& run, const std::vector<double>& model,
                           RunFacts& findings) {
  const InversionParameters& p = run.parameters;
  const ActiveCells active = get_active_cells(source_in(run, p.activeCellFile), run.ground);
  const auto cells = as_size(active.ncell);
  std::vector<double> values = allocate<double>(cells, kRoutine);
  std::vector<double> bound = allocate<double>(cells, kRoutine);
  full_to_active(active, model, values);
  findings.active_cells = active.ncell;
  findings.bounds_known =
      !replaced_by_run(run, p.lowerBounds) && !replaced_by_run(run, p.upperBounds);
  if (!findings.bounds_known) {
    findings.at_bounds = run.iterations.back().row.cells_on_bound;
    return;
  }
  const auto held = [&](double sign) {
    std::int64_t count = 0;
    for (std::size_t i = 0; i < cells; ++i) {
      if (sign * (values[i] - bound[i]) >= -kPrinted * std::abs(bound[i])) ++count;
    }
    return count;
  };
  read_active_model(source_in(run, p.lowerBounds), "lower bounds", active, bound);
  findings.at_lower = held(-1.0);
  read_active_model(source_in(run, p.upperBounds), "upper bounds", active, bound);
  findings.at_upper = held(1.0);
  findings.at_bounds = findings.at_lower + findings.at_upper;
}

LargestResidual largest_residual(const Observations& o, const DataFit& fit,
                                 const ResidualStatistics& residuals) {
  const std::int32_t number = residuals.largest.front();
  const std::size_t i = as_size(number - 1);
  return {.number = number, .normalised = fit.normalised[i], .easting = o.x[i], .northing = o.y[i]};
}

}  // namespace

RunFacts collect_run_facts(const FinishedRun& run, const std::vector<double>& model,
                           const DataFit& fit) {
  const Observations& o = run.observations;
  const Mesh& mesh = run.ground->mesh;
  RunFacts findings;
  findings.ndata = o.ndata;
  findings.iteration = run.iterations.back().row.iteration;
  findings.iterations_made = run.iterations_made;
  findings.mismatched_survey_parts = run.mismatched_survey_parts;
  findings.misfit = run.iterations.back().row.misfit;
  findings.target = run.target;
  findings.ended = !run.ended.empty();
  findings.ending = run.ending;
  findings.narrowest_cell = min_horizontal_width(mesh);
  findings.gap = typical_gap(mesh, o.x, o.y);
  findings.residuals = residual_statistics(o.x, o.y, fit.normalised);
  findings.largest = largest_residual(o, fit, findings.residuals);
  findings.model = model_statistics(mesh, model);
  count_cells_at_bounds(run, model, findings);
  return findings;
}

}  // namespace quorivex
