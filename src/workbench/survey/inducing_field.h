// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "workbench/geomagnetism/geomagnetic_field.h"
#include "workbench/survey/survey_notes.h"
#include "workbench/survey/thinning.h"

namespace quorivex {

/// The main field: given, or computed for a date and a position; where both are named, the given
/// one is used, and compared with the other.
struct FieldChoice {
  std::optional<double> inclination;  ///< given: all three or none
  std::optional<double> declination;  ///< from true north
  std::optional<double> strength;
  std::string date;                         ///< may be empty where the three above are given
  std::optional<std::array<double, 2>> at;  ///< longitude, latitude
  std::string utm_zone;               ///< the coordinates are of this zone: position, convergence
  std::optional<double> height;       ///< above the ellipsoid; the median of the elevations
  std::optional<double> convergence;  ///< of grid north, clockwise from true north, degrees
};

/// What differs between a field that was given and the main field of its place, `model`: an
/// inclination or declination by more than 5 degrees, a strength by more than 5 %; a sentence each.
std::vector<std::string> compare_fields(const MainField& given, const MainField& model);

/// The inducing field of a survey with its declination from grid north, and notes on its source.
/// @param mean_position  of the table's longitudes and latitudes, which are used where the choice
///                       names no position
/// @throws StopRun for a date outside the model, an invalid position or zone
MainField find_inducing_field(const FieldChoice& choice, const Stations& stations,
                              const std::optional<GeoPosition>& mean_position, SurveyNotes& notes);

}  // namespace quorivex
