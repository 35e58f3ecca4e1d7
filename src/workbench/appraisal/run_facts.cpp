// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/run_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/stop_run.h"
#include "base/text.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/mesh_io/model_files.h"
#include "inversion/mesh_io/station_heights.h"
#include "inversion/solver/next_beta.h"
#include "workbench/forward/station_checks.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "collect_run_facts";

void count_cells_at_bounds(const FinishedRun& run, const std::vector<double>& model,
                           RunFacts& facts) {
  const InversionParameters& p = run.parameters;
  const ActiveCells active = get_active_cells(source_in(run, p.activeCellFile), run.ground);
  const auto cells = as_size(active.ncell);
  std::vector<double> values = allocate<double>(cells, kRoutine);
  std::vector<double> bound = allocate<double>(cells, kRoutine);
  full_to_active(active, model, values);
  facts.active_cells = active.ncell;
  const auto held = [&](double sign) {
    std::int64_t count = 0;
    for (std::size_t i = 0; i < cells; ++i) {
      if (sign * (values[i] - bound[i]) >= -kModelRounding * std::abs(bound[i])) ++count;
    }
    return count;
  };
  read_active_model(source_in(run, p.lowerBounds), "lower bounds", active, bound);
  facts.at_lower = held(-1.0);
  read_active_model(source_in(run, p.upperBounds), "upper bounds", active, bound);
  facts.at_upper = held(1.0);
  facts.at_bounds = facts.at_lower + facts.at_upper;
}

LargestResidual largest_residual(const Observations& o, const DataFit& fit,
                                 const ResidualStatistics& residuals) {
  const std::int32_t number = residuals.largest.front();
  const std::size_t i = as_size(number - 1);
  return {.number = number, .normalised = fit.normalised[i], .easting = o.x[i], .northing = o.y[i]};
}

/// What qvx sensitivity warned of; where its warnings are unknown or of other stations, what shows
/// from the stations and the cells.
std::vector<std::string> warnings_of_places(const FinishedRun& run) {
  std::vector<std::string> found;
  for (const std::string& warning : run.matrix_warnings) {
    found.push_back(fmt::format("qvx sensitivity warned: {}", warning));
  }
  const auto& others = run.mismatched_survey_parts;
  if (found.empty() || std::find(others.begin(), others.end(), "stations") != others.end()) {
    for (const std::string& warning :
         station_warnings(run.observations, run.ground->mesh,
                          heights_above_cells(run.observations, *run.ground))) {
      found.push_back(one_line(warning));
    }
  }
  for (std::string& sentence : found) {
    if (!sentence.ends_with('.')) sentence += '.';
  }
  return found;
}

}  // namespace

RunFacts collect_run_facts(const FinishedRun& run, const std::vector<double>& model,
                           const DataFit& fit) {
  const Observations& o = run.observations;
  const Mesh& mesh = run.ground->mesh;
  RunFacts facts;
  facts.ndata = o.ndata;
  facts.iteration = run.iterations.back().row.iteration;
  facts.iterations_made = run.iterations_made;
  facts.mismatched_survey_parts = run.mismatched_survey_parts;
  facts.warnings = warnings_of_places(run);
  facts.misfit = run.iterations.back().row.misfit;
  const SummaryRow& row = run.iterations.back().row;
  facts.beta = row.beta;
  facts.norm = row.norm;
  if (run.iterations.size() > 1) {
    const SummaryRow& before = run.iterations[run.iterations.size() - 2].row;
    if (before.iteration == row.iteration - 1) facts.before = before;
  }
  facts.target = run.target;
  facts.beta_chosen = run.parameters.mode == 2 && !(run.parameters.par > 0.0);
  facts.ended = !run.ended.empty();
  facts.ending = run.ending;
  facts.narrowest_cell = min_horizontal_width(mesh);
  facts.gap = typical_gap(mesh, o.x, o.y);
  facts.residuals = residual_statistics(o.x, o.y, fit.normalised);
  facts.largest = largest_residual(o, fit, facts.residuals);
  facts.model = model_statistics(mesh, model);
  count_cells_at_bounds(run, model, facts);
  return facts;
}

bool reached_target(const RunFacts& facts) {
  return facts.target && target_reached(facts.misfit, *facts.target);
}

}  // namespace quorivex
