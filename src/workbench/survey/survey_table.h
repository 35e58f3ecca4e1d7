// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/geomagnetism/geomagnetic_field.h"
#include "workbench/survey/survey_notes.h"
#include "workbench/survey/thinning.h"

namespace quorivex {

/// A table of stations: where its columns are, by name or number, and how it is read.
struct SurveyTable {
  std::string name;
  std::string easting;
  std::string northing;
  std::string field;
  std::string elevation;  ///< this or `height`
  std::string height;     ///< a number is metres above the terrain for all, anything else a column
  std::string deviation;  ///< standard deviation (nT); or empty
  bool zero_deviations = false;  ///< a deviation of 0 is accepted, since it is raised later
  std::string line;
  std::string fiducial;   ///< name of the station on its line; or empty
  std::string longitude;  ///< degrees; only for the position of the main field
  std::string latitude;
  char separator = 0;  ///< see TableRequest
  std::vector<std::string> missing;
};

/// The stations of a table.
struct SurveyRows {
  Stations stations;            ///< without elevations if the table gives heights above the terrain
  std::vector<double> heights;  ///< metres above the terrain, one per station; or empty
  std::string elevation_source;              ///< "column Z"; of heights also "80 m"
  std::string deviation_source;              ///< "column S"; empty without one
  std::vector<std::string> line_names;       ///< see Table
  std::optional<GeoPosition> mean_position;  ///< of the columns with longitude and latitude
};

/// Reads the table and notes what was read and left out.
/// @throws StopRun with what is wrong, and where
SurveyRows read_survey_table(const SurveyTable& table, SurveyNotes& notes);

}  // namespace quorivex
