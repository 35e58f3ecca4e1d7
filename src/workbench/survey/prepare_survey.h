// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/survey/thinning.h"
#include "workbench/survey/trend.h"

namespace quorivex {

/// Where the columns of the table are, by name or number, and how it is read.
struct SurveyTable {
  std::string name;
  std::string easting;
  std::string northing;
  std::string field;
  std::string elevation;  ///< this or `height`
  std::string height;     ///< a number is metres above the terrain for all, anything else a column
  std::string line;
  std::string longitude;  ///< degrees; only for the place of the main field
  std::string latitude;
  char separator = 0;  ///< see TableRequest
  std::vector<std::string> missing;
};

struct TrendChoice {
  std::optional<TrendKind> kind;
  TrendFit fit = TrendFit::squares;
  double beyond = -1.0;                         ///< metres from the centre; negative: all stations
  std::optional<std::array<double, 2>> centre;  ///< easting, northing; the middle without it
  std::optional<std::array<double, 3>> given;   ///< nT, nT/km eastward, nT/km northward: not fitted
};

/// The main field: given, or computed for a date and a place.
struct FieldChoice {
  std::optional<double> inclination;
  std::optional<double> declination;  ///< from true north
  std::optional<double> strength;
  std::string date;
  std::optional<std::array<double, 2>> at;  ///< longitude, latitude
  std::string utm_zone;               ///< the coordinates are of this zone: place, convergence
  std::optional<double> height;       ///< above the ellipsoid; the median of the elevations
  std::optional<double> convergence;  ///< of grid north, clockwise from true north, degrees
};

struct SurveyChoices {
  SurveyTable table;
  std::string terrain;
  double spacing = 0.0;  ///< along lines, m; 0: no thinning
  double grid = 0.0;     ///< m; 0: no thinning
  GridChoice grid_choice = GridChoice::nearest;
  TrendChoice trend;
  FieldChoice field;
  double floor = 0.0;    ///< nT
  double percent = 0.0;  ///< of |datum|
};

struct PreparedSurvey {
  Observations observations;  ///< without values
  std::vector<double> values;
  std::vector<double> deviations;
  std::vector<std::string> remarks;   ///< what was done, a line each: into the file and the report
  std::vector<std::string> warnings;  ///< for the reader of the report only
};

/// From a table to observations: reads it, finds elevations, thins, removes the trend, finds
/// standard deviations and the main field.
/// @throws StopRun with what is wrong, and where
PreparedSurvey prepare_survey(const SurveyChoices& choices);

}  // namespace quorivex
