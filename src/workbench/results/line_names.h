// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

/// Names that tie each datum to its table: of the flight line, and of the station on it.
struct StationLabels {
  std::vector<std::string> line;      ///< one per datum, or empty where the file names no lines
  std::vector<std::string> fiducial;  ///< likewise
};

/// The comment that says what follows the values of each datum ("labels of the data: line,
/// fiducial"); empty without labels.
std::string labels_comment(const StationLabels& labels);

/// What follows the values of each datum, "line 100, 2045.1"; empty without labels.
std::vector<std::string> labels_of_data(const StationLabels& labels);

/// Reads the labels of an observations file of `ndata` data: a comment at its head names them, and
/// they follow a "!" after the values. No run reads them. Empty where the comment or data are
/// missing.
/// @throws StopRun when the file cannot be opened
StationLabels read_station_labels(const std::string& observations_file, std::int32_t ndata);

}  // namespace quorivex
