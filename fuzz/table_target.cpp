// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/survey/survey_table.h"
#include "workbench/tables/delimited_text.h"

namespace quorivex::fuzz {

/// The first line holds options as qvx survey has them, separated by "|": easting, northing, field,
/// elevation, height, deviation, line, fiducial, longitude, latitude, separator (of which the first
/// character counts) and marks of missing values. The table follows.
std::string table(std::string_view bytes) {
  const std::size_t line_end = std::min(bytes.find('\n'), bytes.size());
  std::vector<std::string> options = split_fields(bytes.substr(0, line_end), '|');
  options.resize(std::max<std::size_t>(options.size(), 11));
  SurveyTable choice;
  choice.name = scratch_file(bytes.substr(std::min(line_end + 1, bytes.size())));
  std::size_t next = 0;
  for (std::string* option :
       {&choice.easting, &choice.northing, &choice.field, &choice.elevation, &choice.height,
        &choice.deviation, &choice.line, &choice.fiducial, &choice.longitude, &choice.latitude}) {
    *option = options[next++];
  }
  if (!options[next].empty()) choice.separator = options[next].front();
  choice.missing.assign(options.begin() + 11, options.end());
  return outcome([&] {
    SurveyNotes notes;
    const SurveyRows read = read_survey_table(choice, notes);
    const Stations& s = read.stations;
    std::string found = test::record(s.easting, s.northing, s.elevation, s.field, s.deviation);
    for (const auto& texts : {notes.remarks, notes.warnings, read.line_names}) {
      for (const std::string& text : texts) found += text;
    }
    return found;
  });
}

}  // namespace quorivex::fuzz
