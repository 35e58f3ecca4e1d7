// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "companion/fingerprints.h"

namespace quorivex {

/// A line of the companion that is there to be read by people.
struct Figure {
  std::string name;  ///< without blanks
  std::string text;
};

/// The small text file beside a sensitivity file that says what it was made of
/// (docs/file_formats.md).
struct Companion {
  std::int64_t bytes = 0;   ///< of the sensitivity file
  std::vector<Part> parts;  ///< those of the matrix, then those of the survey
  std::vector<Figure> figures;
};

/// "NAME.info"
std::string companion_name(const std::string& sensitivity_file);

/// The text of the file; control characters of a figure become question marks.
std::string companion_text(const Companion& companion);

/// Reads the companion of a sensitivity file; nothing when there is none.
/// @throws StopRun naming the line that is wrong, or the part that is missing
std::optional<Companion> read_companion(const std::string& sensitivity_file);

/// The names of those of the companion's parts whose fingerprints are not these.
std::vector<std::string> differing_parts(const Companion& companion, const std::vector<Part>& now);

/// In what the companion does not belong to the matrix that lies beside it: "size" and names of
/// parts; empty when it does. What it says of the survey then counts for nothing.
std::vector<std::string> strangeness(const Companion& companion, const std::string& name,
                                     const SensitivityFile& file);

}  // namespace quorivex
