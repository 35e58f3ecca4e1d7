// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/sidecar/fingerprints.h"

namespace quorivex {

/// A line of the sidecar for people to read; no check uses it.
struct InfoLine {
  std::string name;  ///< without blanks
  std::string text;
};

/// Name of the lines with what the command that made the file warned of; none for a good file.
inline constexpr const char* kWarning = "warning";
/// Name of the line about how far the cells' ground lies below the terrain; missing where no
/// terrain was given.
inline constexpr const char* kCellsGround = "cells_ground";
/// Name of the line with the code of the coordinate system, "EPSG:32754"; missing where it is not
/// known.
inline constexpr const char* kCoordinateSystem = "coordinate_system";

/// The small text file next to a sensitivity file that says what it was made of
/// (docs/file_formats.md).
struct Sidecar {
  std::int64_t bytes = 0;   ///< of the sensitivity file
  std::vector<Part> parts;  ///< of the matrix, then of the survey
  std::vector<InfoLine> info_lines;
};

/// What the command that made the sensitivity file warned of, a line of text each.
std::vector<std::string> warnings_of(const Sidecar& sidecar);

/// The text of the first line of that name; empty without one.
std::string info_text(const std::vector<InfoLine>& lines, std::string_view name);

/// "NAME.info".
std::string sidecar_name(const std::string& sensitivity_file);

/// Where it is written: next to the sensitivity file itself, not next to a symbolic link to it.
std::string sidecar_place(const std::string& sensitivity_file);

/// The text of the file; control characters in an info line become question marks.
std::string sidecar_text(const Sidecar& sidecar);

/// Where the sidecar of a sensitivity file is read: next to its name or, for a symbolic link, next
/// to the link's target when there is none next to the link or that one belongs to a file of
/// another length. "NAME.info" when there is none at either place.
std::string find_sidecar(const std::string& sensitivity_file);

/// The code of the coordinate system in the sidecar of a sensitivity file; empty without one, and
/// where the sidecar cannot be read.
std::string crs_of_matrix(const std::string& sensitivity_file);

/// Reads the sidecar of a sensitivity file; nothing when there is none.
/// @throws StopRun naming file and line of what is wrong, or the part that is missing
std::optional<Sidecar> read_sidecar(const std::string& sensitivity_file);

/// Names of the parts whose fingerprints differ from the sidecar's.
std::vector<std::string> differing_parts(const Sidecar& sidecar, const std::vector<Part>& now);

/// Parts of the matrix whose fingerprints differ from the sidecar's, and "size"; empty when the
/// sidecar belongs to the matrix. If it does not, what it says of the survey is meaningless. The
/// diagonal is not compared when only the heading of the file was read.
std::vector<std::string> mismatched_matrix_parts(const Sidecar& sidecar, const std::string& name,
                                                 const SensitivityFile& file);

/// What the sidecar tells of a matrix and the observations of a run; empty without a valid one.
struct MatrixOrigin {
  /// Parts of the observations that differ from those the matrix was made for, deviations excepted.
  std::vector<std::string> mismatched_survey_parts;
  std::vector<std::string> warnings;  ///< see `warnings_of`
  std::vector<InfoLine> info_lines;
};

/// @param heading  of the sensitivity file `name`
MatrixOrigin matrix_origin(const std::string& name, const SensitivityFile& heading,
                           const Observations& observations);

}  // namespace quorivex
