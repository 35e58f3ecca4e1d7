// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inversion/input/input_file.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/results/line_names.h"
#include "workbench/results/run_summary.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {

/// An iteration with the two files that it left.
struct FinishedIteration {
  SummaryRow row;
  std::string model_file;      ///< quorivex_NNN.sus, with the run's folder
  std::string predicted_file;  ///< quorivex_NNN.pre, likewise
};

/// What a run read and left behind, except the sensitivities, models and predicted data; the last
/// two are read by `read_model` and `read_predicted` of results/iteration_files.h.
struct FinishedRun {
  std::string input_file;  ///< as it was given
  std::string folder;      ///< where the run left its files; "" is the current folder
  InversionParameters parameters;
  SharedGround ground;      ///< the nodes of its mesh are finite and increase
  std::vector<double> wtz;  ///< scale of each ground cell
  bool compressed = false;  ///< form of the sensitivity file
  Observations observations;
  /// Parts of the observations ("stations", "field", "directions") that are not those which the
  /// sensitivity file was made of; empty where they are, and where there is no sidecar.
  std::vector<std::string> mismatched_survey_parts;
  std::vector<std::string> matrix_warnings;  ///< when the sensitivity file was made: its sidecar
  std::vector<InfoLine> origin;  ///< what the sidecar says for human readers; empty without one
  StationLabels labels;          ///< of the observations
  std::string crs;               ///< "EPSG:32754", from them or the sidecar; empty if not known
  std::string version;           ///< of the program that ran; may be empty
  std::string started;           ///< date and time
  std::string ended;   ///< likewise; empty for a run that stopped early or is still going on
  std::string ending;  ///< why it ended, in the run's words; may be empty
  std::optional<double> target;  ///< misfit that mode 1 aims at: number of data times chifact
  NormTerms initial_norm;
  double initial_misfit = 0.0;
  std::vector<double> alphas;  ///< s, e, n, z
  std::vector<FinishedIteration>
      iterations;                    ///< at least one; iterations 1, 2, ... whose files are there
  std::int32_t iterations_made = 0;  ///< as many as the summary lists
  std::vector<std::string> files_left;  ///< names of the two files of each of these iterations
  std::vector<std::string> notes;       ///< what is missing, a sentence each; mostly empty
};

/// Reads the input file and everything around it.
///
/// Names in the input file, quorivex.log and quorivex.out are relative to the folder that the run
/// was in: the current one or the input file's, whichever has a log of this input file. Where both
/// have one, a log that names this very file counts more than one of a file with the same text;
/// otherwise the current folder counts.
/// @throws StopRun when there is no run, or one of another input file, without an iteration, or
///         whose files do not belong together
FinishedRun read_finished_run(const std::string& input_file);

/// Where to find a file that the run knows as `name`.
std::string path_in(const FinishedRun& run, const std::string& name);

/// The same for a model, bound or list of active cells; "VALUE c" and "null" stay as they are.
std::string source_in(const FinishedRun& run, const std::string& source);

/// The iteration with that number. @throws StopRun saying which there are
const FinishedIteration& find_iteration(const FinishedRun& run, std::int32_t number);

}  // namespace quorivex
