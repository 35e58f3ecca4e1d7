// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/observation_notes.h"

#include <fmt/format.h>

#include <optional>

#include "base/text.h"
#include "base/text_faults.h"
#include "base/text_file.h"
#include "workbench/geometry/same_place.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxDatumLine = 1000;  // characters, as in the reader
constexpr int kLinesAboveData = 3;           // field, direction, number of data

/// The rows of the file: how many follow the last datum, and the first decimal comma.
void look_at_rows(const std::string& name, std::int64_t ndata, ObservationNotes& found) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) return;
  std::int64_t number = 0;  // of the line
  std::int64_t rows = 0;
  for (std::string text; file->read_line(text, kMaxDatumLine);) {
    ++number;
    if (trim(text).empty() || text.front() == '!') continue;
    if (++rows > kLinesAboveData + ndata || !found.warnings.empty()) continue;
    const std::string_view values = std::string_view(text).substr(0, text.find('!'));
    const std::string_view comma = decimal_comma_in(values);
    if (comma.empty()) continue;
    found.warnings.push_back(
        fmt::format("line {} of {} holds '{}', which is read as two values. Write a decimal point.",
                    number, name, comma));
  }
  const std::int64_t more = rows - kLinesAboveData - ndata;
  if (more <= 0) return;
  found.notes.push_back(
      fmt::format("{} more {} in {} after the {} data that it announces; no program reads them.",
                  more, more == 1 ? "row follows" : "rows follow", name, ndata));
}

}  // namespace

ObservationNotes observation_notes(const std::string& name, const Observations& o) {
  ObservationNotes found;
  look_at_rows(name, o.ndata, found);
  if (const std::int64_t repeated = count_repeated(o.x, o.y, o.z); repeated > 0) {
    found.notes.push_back(
        fmt::format("{} of {} data stand at the place of an earlier one, which thereby weighs more "
                    "than others.",
                    repeated, o.ndata));
  }
  return found;
}

void note_observations(const std::string& name, const Observations& observations,
                       Findings& findings) {
  const ObservationNotes found = observation_notes(name, observations);
  for (const std::string& note : found.notes) Findings::note(note);
  for (const std::string& warning : found.warnings) findings.warning(warning);
}

}  // namespace quorivex
