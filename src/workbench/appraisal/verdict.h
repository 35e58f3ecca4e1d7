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

/// What a verdict is formed from.
struct RunFacts {
  std::int32_t ndata = 0;
  std::int32_t iteration = 0;        ///< number of the last iteration whose files are there
  std::int32_t iterations_made = 0;  ///< number of the last iteration of the run
  double misfit = 0.0;               ///< of `iteration`
  std::optional<double> target;      ///< misfit aimed at; none where beta was kept
  bool ended = true;                 ///< false for a run that was stopped or goes on
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

/// True within 5 % above the target, where a run ends, or below it.
bool target_reached(const RunFacts& findings);

/// Something that a careful reader would object to, and what to do.
struct RedFlag {
  std::string title;
  std::string text;
};

std::vector<RedFlag> red_flags(const RunFacts& findings);

enum class Level { good, warning, bad };

struct Verdict {
  Level level = Level::good;
  std::string mark;      ///< two or three words
  std::string headline;  ///< one sentence
  std::vector<std::string> sentences;
};

/// Never good where the files of the last iteration are missing or where there are flags, bad where
/// the observations are not those of the sensitivity file.
Verdict verdict(const RunFacts& findings, std::size_t flags);

}  // namespace quorivex
