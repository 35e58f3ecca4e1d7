// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workbench/sidecar/fingerprints.h"

namespace quorivex {

/// A line of the sidecar that is there to be read by people.
struct InfoLine {
  std::string name;  ///< without blanks
  std::string text;
};

/// The small text file beside a sensitivity file that says what it was made of
/// (docs/file_formats.md).
struct Sidecar {
  std::int64_t bytes = 0;   ///< of the sensitivity file
  std::vector<Part> parts;  ///< those of the matrix, then those of the survey
  std::vector<InfoLine> figures;
};

/// "NAME.info".
std::string sidecar_name(const std::string& sensitivity_file);

/// Where it is written: beside the sensitivity file, not beside a link to it.
std::string sidecar_place(const std::string& sensitivity_file);

/// The text of the file; control characters of a figure become question marks.
std::string sidecar_text(const Sidecar& sidecar);

/// Where the sidecar of a sensitivity file is to be read: beside its name, or beside the file
/// that the name is a link to when there is none beside the name, or one of a file of another
/// length. "NAME.info" when it is at neither place.
std::string find_sidecar(const std::string& sensitivity_file);

/// Reads the sidecar of a sensitivity file; nothing when there is none.
/// @throws StopRun naming the line that is wrong, or the part that is missing
std::optional<Sidecar> read_sidecar(const std::string& sensitivity_file);

/// The names of those of the sidecar's parts whose fingerprints are not these.
std::vector<std::string> differing_parts(const Sidecar& sidecar, const std::vector<Part>& now);

/// In what the sidecar does not belong to the matrix that lies beside it: "size" and names of
/// parts; empty when it does. What it says of the survey then counts for nothing. The diagonal is
/// not looked at where only the heading of the file was read.
std::vector<std::string> mismatched_matrix_parts(const Sidecar& sidecar, const std::string& name,
                                                 const SensitivityFile& file);

/// The names of the parts of the observations that the matrix was not made of, but for the
/// deviations; empty where no sound sidecar tells.
/// @param heading  of the sensitivity file of that name
std::vector<std::string> mismatched_survey_parts(const std::string& name,
                                                 const SensitivityFile& heading,
                                                 const Observations& observations);

}  // namespace quorivex
