// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/keep_run.h"

#include "companion/companion.h"
#include "control/program_name.h"
#include "workbench/survey_inputs.h"

namespace quorivex {

void keep_files_of_run(const FinishedRun& run, const std::string& output) {
  const InversionParameters& p = run.parameters;
  keep_inputs(output, {run.input_file, path_in(run, kLogName), path_in(run, kSummaryName),
                       find_companion(path_in(run, p.mtxFile))});
  for (const std::string& name : {p.obsFile, p.mtxFile, p.initialModel, p.referenceModel,
                                  p.activeCellFile, p.lowerBounds, p.upperBounds, p.weightFile}) {
    keep_inputs(output, {path_in(run, name)});
  }
  for (const std::string& name : run.files_left) keep_inputs(output, {name});
}

}  // namespace quorivex
