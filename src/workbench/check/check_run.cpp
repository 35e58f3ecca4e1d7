// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/check_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include "inversion/mesh_io/station_heights.h"
#include "inversion/setup/own_outputs.h"
#include "workbench/check/input_lines.h"
#include "workbench/check/matrix_checks.h"
#include "workbench/check/model_checks.h"
#include "workbench/check/observation_notes.h"
#include "workbench/check/sensitivity_summary.h"
#include "workbench/check/start_checks.h"
#include "workbench/check/survey_checks.h"
#include "workbench/forward/station_checks.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

/// Notes when a file that the input file names is next to it, but not in the current folder.
void check_folder(const std::string& input_file, const InversionParameters& input) {
  const fs::path folder = fs::path(input_file).parent_path();
  std::error_code none;
  for (const std::string& name :
       {input.obsFile, input.mtxFile, input.initialModel, input.referenceModel,
        input.activeCellFile, input.lowerBounds, input.upperBounds, input.weightFile}) {
    if (folder.empty() || name.empty() || fs::exists(name, none)) continue;
    if (!fs::exists(folder / name, none)) continue;
    Findings::note(
        fmt::format("{} is in {}; a run looks for its files in the folder in which it is started",
                    name, folder.string()));
    return;
  }
}

/// True for quorivex_NNN.sus and quorivex_NNN.pre.
bool is_result(const std::string& name) {
  constexpr std::string_view kBefore = "quorivex_";
  const bool around =
      name.starts_with(kBefore) && (name.ends_with(".sus") || name.ends_with(".pre"));
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  return around && name.size() == kBefore.size() + 7 &&
         std::all_of(name.begin() + kBefore.size(), name.end() - 4, is_digit);
}

/// Notes results of an earlier run in the current folder.
void check_old_results() {
  std::error_code none;
  int results = 0;
  for (auto entry = fs::directory_iterator(".", none); !none && entry != fs::directory_iterator();
       entry.increment(none)) {
    if (is_result(entry->path().filename().string())) ++results;
  }
  if (results == 0) return;
  Findings::note(fmt::format(
      "{} {} of an earlier run in this folder; a new run replaces those of the same iteration\n"
      "and leaves the others",
      results, results == 1 ? "result is" : "results are"));
}

bool check_input(const std::string& input_file, InversionParameters& input, Findings& findings) {
  Findings::section(fmt::format("Input file {}", input_file));
  if (!findings.attempt([&] { input = read_input_file(input_file); })) return false;
  Findings::fact("mode", input.mode == 1
                             ? fmt::format("1, target misfit with chifact {}", input.par)
                         : input.par > 0 ? fmt::format("2, beta {} is kept", input.par)
                                         : "2, beta is kept at the value with which mode 1 starts");
  Findings::fact("tolc", fmt::format("{}, read, not used", input.tolc));
  for (const auto& [label, name] : {std::pair{"observations", input.obsFile},
                                    {"sensitivity file", input.mtxFile},
                                    {"initial model", input.initialModel},
                                    {"reference model", input.referenceModel},
                                    {"active cells", input.activeCellFile},
                                    {"lower bounds", input.lowerBounds},
                                    {"upper bounds", input.upperBounds},
                                    {"alphas", input.alphaLine},
                                    {"3-D weights", input.weightFile}}) {
    Findings::fact(label, name);
  }
  check_folder(input_file, input);
  check_old_results();
  for (const std::string& doubt : input_line_doubts(input_file)) findings.warning(doubt);
  findings.attempt([&] { check_mode_and_tolc(input); });
  return true;
}

bool read_matrix(const InversionParameters& input, RunSetup& setup, Findings& findings) {
  Findings::section(fmt::format("Sensitivity file {}", input.mtxFile));
  if (!findings.attempt([&] { setup.file = getpar(input.mtxFile); })) {
    if (is_other_file(input.mtxFile)) {
      Findings::note(fmt::format("{} is not a sensitivity file", input.mtxFile));
    }
    return false;
  }
  check_matrix(input.mtxFile, setup.file, findings);
  return true;
}

/// True when the observations could be read and belong to as many data as the matrix.
bool read_survey(const InversionParameters& input, bool matrix, RunSetup& setup,
                 Findings& findings) {
  Findings::section(fmt::format("Observations {}", input.obsFile));
  const auto read = [&](std::optional<std::int32_t> expected) {
    setup.data = read_data_file(input.obsFile, DataColumns::values, expected);
  };
  bool fits = false;
  if (!matrix) {
    if (!findings.attempt([&] { read({}); })) return false;
  } else {
    fits = findings.attempt([&] { read(setup.file.sens.ndata); });
    try {
      if (!fits) read({});  // with another number of data the rest can still be checked
    } catch (const StopRun&) {
      return false;
    }
  }
  check_survey(setup.data, findings);
  note_observations(input.obsFile, setup.data, findings);
  if (!matrix) return false;
  if (!fits) {
    Findings::note(fmt::format("the observations hold {} data, the sensitivity file {}",
                               setup.data.ndata, setup.file.sens.ndata));
  }
  return fits;
}

/// Warns of stations outside the mesh or below the cells' ground.
void check_stations(const Observations& o, const Ground& ground, Findings& findings) {
  for (const std::string& warning :
       station_warnings(o, ground.mesh, heights_above_cells(o, ground))) {
    findings.warning(warning);
  }
}

/// Checks what needs the matrix: its origin, the models, and the first step of the run.
void check_fit(const InversionParameters& input, const std::string& mesh_file, bool survey,
               RunSetup& setup, Findings& findings) {
  Findings::section("Sensitivity file and observations");
  if (!mesh_file.empty()) check_mesh(mesh_file, setup.file.ground->mesh, findings);
  const bool told = survey && check_origin(input.mtxFile, setup.file, setup.data, findings);
  if (!told) check_stations(setup.data, *setup.file.ground, findings);
  if (!survey) {
    Findings::note("not compared, because the numbers of data differ or data are missing");
  }
  Findings::section("Models");
  const bool models = check_models(input, setup, findings);
  Findings::section("Weights");
  const bool alphas = check_alphas(input, &setup.file.ground->mesh, setup, findings);
  const bool terms = alphas && models && findings.attempt([&] {
    derive_terms(input, setup);
    show_weights(input.weightFile, setup.file.ground->mesh);
  });
  Findings::section("Start of the run");
  if (!terms || !survey) {
    Findings::note("not checked, because the run would stop before");
    return;
  }
  findings.attempt([&] { check_start(input, setup, findings); });
}

}  // namespace

int check_run(const std::string& input_file, const std::string& mesh_file) {
  Findings findings;
  fmt::print("What a run of {} would find; nothing is written.\n", input_file);
  InversionParameters input;
  if (!check_input(input_file, input, findings)) return findings.close();
  findings.attempt([&] { refuse_outputs_that_are_read(input_file); });
  RunSetup setup;
  const bool matrix = read_matrix(input, setup, findings);
  const bool survey = read_survey(input, matrix, setup, findings);
  if (matrix) {
    check_fit(input, mesh_file, survey, setup, findings);
  } else {
    Findings::section("Weights");
    check_alphas(input, nullptr, setup, findings);
    Findings::note("models, bounds and 3-D weights are not checked without the sensitivity file");
  }
  return findings.close();
}

}  // namespace quorivex
