// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/overwriting.h"

#include "inversion/input/program_name.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {

void refuse_overwriting_run_files(const FinishedRun& run, const std::string& output) {
  const InversionParameters& p = run.parameters;
  refuse_overwriting(output, {run.input_file, path_in(run, kLogName), path_in(run, kSummaryName),
                              find_sidecar(path_in(run, p.mtxFile))});
  for (const std::string& name : {p.obsFile, p.mtxFile, p.initialModel, p.referenceModel,
                                  p.activeCellFile, p.lowerBounds, p.upperBounds, p.weightFile}) {
    refuse_overwriting(output, {path_in(run, name)});
  }
  for (const std::string& name : run.files_left) refuse_overwriting(output, {name});
}

}  // namespace quorivex
