// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/appraisal/statistics.h"

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
  std::optional<double> target;      ///< misfit aimed at; nothing when beta was fixed
  bool ended = true;                 ///< false for a run that was stopped or is still going on
  std::string ending;                ///< why it ended, in the run's words; may be empty
  std::int64_t active_cells = 0;
  std::int64_t at_bounds = 0;  ///< active cells held at a bound
  bool bounds_known = true;    ///< false where the run has replaced the files of its bounds
  std::int64_t at_lower = 0;   ///< of at_bounds, where bounds are known
  std::int64_t at_upper = 0;
  double narrowest_cell = 0.0;                       ///< horizontal width, metres
  double gap = 0.0;                                  ///< see `typical_gap`
  std::vector<std::string> mismatched_survey_parts;  ///< see FinishedRun
  ResidualStatistics residuals;
  LargestResidual largest;
  ModelStatistics model;
};

/// Something that a careful reader would object to, and what to do.
struct RedFlag {
  std::string title;
  std::string text;
};

enum class Level { good, warning, bad };

struct Verdict {
  Level level = Level::good;
  std::string mark;      ///< two or three words
  std::string headline;  ///< one sentence
  std::vector<std::string> sentences;
};

/// What is thought of a run.
struct Appraisal {
  RunFacts facts;
  std::vector<RedFlag> flags;
  Verdict verdict;
};

/// The verdict is good only without red flags and with the files of the last iteration, bad when
/// the target is not reached or the observations are not those of the sensitivity file.
Appraisal appraise(RunFacts facts);

}  // namespace quorivex
