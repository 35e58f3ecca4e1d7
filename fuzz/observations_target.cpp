// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "inversion/mesh_io/observations.h"
#include "records.h"
#include "workbench/check/observation_notes.h"
#include "workbench/results/line_names.h"

namespace quorivex::fuzz {

/// Observations, and the same file taken for predicted data.
std::string observations(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  return outcome([&] {
    const Observations read = read_data_file(name, DataColumns::as_found);
    std::string found = test::record(read.x, read.y, read.z, read.obs, read.std);
    const ObservationNotes notes = observation_notes(name, read);
    for (const auto& sentences : {notes.notes, notes.warnings}) {
      for (const std::string& sentence : sentences) found += printable(sentence);
    }
    const StationLabels labels = read_station_labels(name, read.ndata);
    for (const auto& names : {labels.line, labels.fiducial}) {
      expect(names.empty() || names.size() == read.x.size(), "a label for each datum, or none");
    }
    return found + outcome([&] { return test::record(read_predicted_data(name, read)); });
  });
}

}  // namespace quorivex::fuzz
