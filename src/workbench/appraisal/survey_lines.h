// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace quorivex {

/// Data in a row, as a profile shows them.
struct SurveyLine {
  std::string name;
  /// Indices from 0, from west to east, or from south to north where the line is longer that way.
  std::vector<std::size_t> data;
};

/// The lines of a survey, each of at least two data; empty where the data are in no lines.
///
/// Data of one name are one line, in the order of the data. Without names the order is cut where it
/// turns by more than 45 degrees (seen from up to four data before; steps shorter than half of the
/// median say nothing) and at steps of more than ten times the median. Pieces of fewer than four
/// data, such as the turns of an aircraft, are left out; where these are most of the data, they are
/// in no lines. Lines without names are called 1, 2, ...
/// @param x, y   eastings and northings (m)
/// @param names  one per datum, or empty
std::vector<SurveyLine> survey_lines(const std::vector<double>& x, const std::vector<double>& y,
                                     const std::vector<std::string>& names);

/// True where the data are one line or a strip, less than a tenth as wide as long (standard
/// deviations across and along it).
bool is_strip(const std::vector<double>& x, const std::vector<double>& y);

}  // namespace quorivex
