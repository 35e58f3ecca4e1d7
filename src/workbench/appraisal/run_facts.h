// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workbench/appraisal/statistics.h"
#include "workbench/results/finished_run.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {

/// The datum that is fitted worst.
struct LargestResidual {
  std::int32_t number = 0;  ///< from 1
  double normalised = 0.0;  ///< residual in standard deviations
  double easting = 0.0;
  double northing = 0.0;
};

/// What the appraisal of a run is based on.
struct RunFacts {
  std::int32_t ndata = 0;
  std::int32_t iteration = 0;        ///< number of the last iteration whose files exist
  std::int32_t iterations_made = 0;  ///< number of the last iteration of the run
  double misfit = 0.0;               ///< of `iteration`
  double beta = 0.0;                 ///< of `iteration`
  NormTerms norm;                    ///< likewise
  std::optional<SummaryRow> before;  ///< the iteration before, where its files exist
  std::optional<double> target;      ///< misfit aimed at; nothing when beta was fixed
  bool beta_chosen = false;          ///< fixed by the program, not by the user
  bool ended = true;                 ///< false for a run that was stopped or is still going on
  std::string ending;                ///< why it ended, in the run's words; may be empty
  std::int64_t active_cells = 0;
  std::int64_t at_bounds = 0;  ///< active cells held at a bound
  std::int64_t at_lower = 0;
  std::int64_t at_upper = 0;
  double narrowest_cell = 0.0;                       ///< horizontal width, metres
  double gap = 0.0;                                  ///< see `typical_gap`
  std::vector<std::string> mismatched_survey_parts;  ///< see FinishedRun
  std::vector<std::string> warnings;                 ///< of stations and terrain, sentences
  ResidualStatistics residuals;
  LargestResidual largest;
  ModelStatistics model;
};

/// The facts about a run that its appraisal needs, from its last iteration.
/// @param model  of the last iteration, every cell of the mesh, NaN in air
/// @param fit    data of the last iteration
/// @throws StopRun for active cells or bounds that cannot be read
RunFacts collect_run_facts(const FinishedRun& run, const std::vector<double>& model,
                           const DataFit& fit);

/// True for a run that aimed at a misfit and reached it.
bool reached_target(const RunFacts& facts);

}  // namespace quorivex
