// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/survey/inducing_field.h"
#include "workbench/survey/survey_notes.h"
#include "workbench/survey/survey_table.h"
#include "workbench/survey/thinning.h"
#include "workbench/survey/trend.h"

namespace quorivex {

struct ThinningChoice {
  double spacing = 0.0;  ///< along lines, m; 0: not along lines
  double grid = 0.0;     ///< m; 0: not to a grid
  GridChoice grid_keeps = GridChoice::nearest;
};

struct TrendChoice {
  std::optional<TrendKind> kind;  ///< nothing: no regional field is removed
  TrendFit fit = TrendFit::squares;
  double beyond = -1.0;                         ///< metres from the centre; negative: all stations
  std::optional<std::array<double, 2>> centre;  ///< easting, northing; default: the middle
  std::optional<std::array<double, 3>> given;   ///< nT, nT/km eastward, nT/km northward: not fitted
};

struct SurveyChoices {
  SurveyTable table;
  std::string terrain;
  std::string crs;  ///< of eastings and northings; empty: that of the terrain, if it is a grid
  ThinningChoice thinning;
  TrendChoice trend;
  FieldChoice field;
  bool average_repeated = false;  ///< stations at the same place become one
  bool estimate_errors = false;   ///< of the readings; the floor, where there is none nor a column
  double floor = 0.0;    ///< nT; with a column of deviations floor and percentage are their
  double percent = 0.0;  ///< least values; of |datum|
};

struct PreparedSurvey {
  Observations observations;  ///< without values
  std::vector<double> values;
  std::vector<double> deviations;
  std::vector<std::string> lines;      ///< name of each datum's flight line; empty without any
  std::vector<std::string> fiducials;  ///< of each datum; empty without their column
  SurveyNotes notes;
};

/// Makes observations from a table of stations: reads it, finds elevations, thins, removes the
/// trend, assigns standard deviations and the inducing field.
/// @throws StopRun with what is wrong, and where
PreparedSurvey prepare_survey(const SurveyChoices& choices);

}  // namespace quorivex
