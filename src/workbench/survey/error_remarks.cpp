// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/error_remarks.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/stop_run.h"
#include "workbench/survey/error_estimate.h"

namespace quorivex {
namespace {

std::string counted(std::int64_t count, const std::string& what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

/// "2.51 nT (9960 differences on 40 lines; 12 left out, where ...)".
std::string describe(const ErrorEstimate& estimate, const char* sample, const char* left_out) {
  std::string text = estimate.samples == 0 ? "none" : fmt::format("{:.3g} nT", estimate.deviation);
  text += fmt::format(" ({}", counted(estimate.samples, sample));
  if (estimate.samples > 0) text += fmt::format(" on {}", counted(estimate.lines, "line"));
  if (estimate.samples > 0 && !estimate.usable()) {
    text += estimate.deviation > 0.0 ? ", too few" : ", of which most are 0";
  }
  if (estimate.left_out > 0) text += fmt::format("; {} left out, {}", estimate.left_out, left_out);
  return text + ")";
}

/// Remarks both estimates; the larger one that has enough samples, rounded up, or 0.
double remark_estimates(const Stations& stations, SurveyNotes& notes) {
  const LineStations lines = stations_of_lines(stations);
  const ErrorEstimate along = error_of_differences(stations, lines);
  notes.remarks.emplace_back(
      "error of the readings, with geology of short wavelength, from fourth differences:");
  notes.remarks.push_back("  " +
                          describe(along, "difference", "unevenly spaced or where the line turns"));
  notes.remarks.emplace_back(
      "error of the readings, with levels and positions of lines, from their crossings:");
  const LineCrossings found = line_crossings(stations, lines);
  const ErrorEstimate across = error_of_crossings(stations, found.crossings);
  notes.remarks.push_back(found.too_dense
                              ? "  none (the stations cross too often to be lines)"
                              : "  " + describe(across, "crossing", "heights 5 m or more apart"));
  double largest = 0.0;
  for (const ErrorEstimate& estimate : {along, across}) {
    if (estimate.usable()) largest = std::max(largest, estimate.deviation);
  }
  return largest > 0.0 ? two_digits_up(largest) : 0.0;
}

}  // namespace

double floor_by_estimates(const Stations& stations, const std::vector<std::string>& line_names,
                          double floor, bool needed, SurveyNotes& notes) {
  const bool lines = !(line_names.size() == 1 && line_names.front().empty());
  const double proposed = lines ? remark_estimates(stations, notes) : 0.0;
  if (proposed > 0.0) {
    notes.remarks.push_back(fmt::format("proposed: --floor {:g}, the larger one, rounded up{}",
                                        proposed, needed ? "; used" : ""));
    if (needed) {
      notes.warnings.emplace_back(
          "the floor covers the errors of the readings alone. What the cells are too coarse for "
          "adds "
          "to\nthem; --floor and --percent can say so.");
    } else if (floor > 0.0 && floor < proposed) {
      notes.warnings.push_back(fmt::format(
          "the floor, {:g} nT, is less than the estimated error of the readings.", floor));
    }
    return needed ? proposed : floor;
  }
  const std::string why =
      lines ? "there are too few differences along lines and crossings that tell them"
            : "the table names no lines; --line names the column that tells them apart";
  if (needed) {
    stop_run(
        fmt::format(" ERROR: the errors cannot be estimated: {}.\n Give --floor instead.", why));
  }
  notes.remarks.push_back(fmt::format("errors of the readings: not estimated; {}", why));
  return floor;
}

}  // namespace quorivex
