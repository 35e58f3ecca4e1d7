// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/run_notes.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorivex {

void print_run_notes(const FinishedRun& run) {
  for (const std::string& note : run.notes) fmt::print(stderr, "Note: {}\n", note);
  if (run.iterations.back().row.iteration < run.iterations_made) {
    fmt::print(stderr, "Note: iteration {} is not the last of the run, which made {}.\n",
               run.iterations.back().row.iteration, run.iterations_made);
  }
  if (!run.mismatched_survey_parts.empty()) {
    fmt::print(stderr,
               "Warning: the sensitivity file was made for other observations ({} differ).\n",
               fmt::join(run.mismatched_survey_parts, ", "));
  }
  if (!run.ended.empty()) return;
  if (run.ending.empty()) {
    fmt::print(
        stderr,
        "Note: the run was interrupted or is still running; iteration {} is the last so far.\n",
        run.iterations.back().row.iteration);
  } else {
    fmt::print(stderr, "Note: the run stopped early: {}\n", run.ending);
  }
}

}  // namespace quorivex
