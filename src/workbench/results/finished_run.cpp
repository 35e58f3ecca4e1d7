// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/finished_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "base/atomic_file.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"
#include "inversion/input/program_name.h"
#include "inversion/objective/alphas.h"
#include "inversion/sensitivity/getpar.h"
#include "workbench/coordinates/crs.h"
#include "workbench/results/run_log.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

std::string in_folder(const std::string& folder, const std::string& name) {
  return folder.empty() ? name : (fs::path(folder) / name).string();
}

bool is_file(const std::string& name) {
  std::error_code missing;
  return fs::is_regular_file(name, missing);
}

/// A folder with the log of a run.
struct LogPlace {
  std::string folder;
  RunLog log;
};

/// True when the log names this very input file, as seen from its folder.
bool names_file(const LogPlace& place, const std::string& input_file) {
  std::error_code missing;
  return fs::equivalent(in_folder(place.folder, place.log.input_name), input_file, missing);
}

/// The folder whose log is that of the input file.
LogPlace find_log(const std::string& input_file) {
  const std::vector<std::string> wanted = entry_lines(input_file);
  const std::string own_folder = fs::path(input_file).parent_path().string();
  std::vector<std::string> folders{""};
  if (!own_folder.empty()) folders.push_back(own_folder);
  std::vector<LogPlace> found;
  std::string other;
  for (const std::string& folder : folders) {
    const std::string name = in_folder(folder, kLogName);
    if (!is_file(name)) continue;
    try {
      RunLog log = read_run_log(name);
      if (log.input_lines == wanted) {
        found.push_back({folder, std::move(log)});
      } else {
        other += fmt::format(
            "\n {} is the log of a run of {}, whose lines were not those that {} holds now.", name,
            log.input_name, input_file);
      }
    } catch (const StopRun& damaged) {
      other.append("\n ").append(damaged.message());
    }
  }
  if (found.size() == 2 && !names_file(found[0], input_file) && names_file(found[1], input_file)) {
    return found[1];
  }
  if (!found.empty()) return found[0];
  if (other.empty()) {
    stop_run(fmt::format(
        " ERROR: no run of {} is here: {} is neither in the current folder nor in that of the "
        "input file.\n Run quorivex {} first, or call this command in the folder of its run.",
        input_file, kLogName, input_file));
  }
  stop_run(
      fmt::format(" ERROR: no run of {} is here.{}\n Run quorivex {} again, or call this "
                  "command in the folder of its run.",
                  input_file, other, input_file));
}

void check_nodes(const std::vector<double>& nodes, const char* axis, const std::string& name) {
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (std::isfinite(nodes[i]) && (i == 0 || nodes[i] > nodes[i - 1])) continue;
    stop_run(
        fmt::format(" ERROR: the {} nodes of the mesh in {} should increase; node {} is {} "
                    "after {}.",
                    axis, name, i + 1, nodes[i], i == 0 ? 0.0 : nodes[i - 1]));
  }
}

void read_mesh(FinishedRun& run) {
  const std::string name = path_in(run, run.parameters.mtxFile);
  SensitivityFile file = read_sensitivity_heading(name);
  const Mesh& mesh = file.ground->mesh;
  check_nodes(mesh.easting_nodes, "easting", name);
  check_nodes(mesh.northing_nodes, "northing", name);
  check_nodes(mesh.depth_nodes, "depth", name);
  if (!std::isfinite(mesh.z0)) {
    stop_run(fmt::format(" ERROR: the top of the mesh in {} should be an elevation; found {}.",
                         name, mesh.z0));
  }
  if (file.sens.nsens != file.ground->cells()) {
    stop_run(
        fmt::format(" ERROR: {} cells lie below the column tops of {}, but its matrix has {} "
                    "columns.",
                    file.ground->cells(), name, file.sens.nsens));
  }
  run.compressed = file.sens.compressed;
  run.observations =
      read_data_file(path_in(run, run.parameters.obsFile), DataColumns::values, file.sens.ndata);
  MatrixOrigin origin = matrix_origin(name, file, run.observations);
  run.mismatched_survey_parts = std::move(origin.mismatched_survey_parts);
  run.matrix_warnings = std::move(origin.warnings);
  run.origin = std::move(origin.info_lines);
  const std::string observations = path_in(run, run.parameters.obsFile);
  run.labels = read_station_labels(observations, run.observations.ndata);
  run.crs = common_crs(
      {{crs_of_observations(observations), observations},
       {crs_code(info_text(run.origin, kCoordinateSystem)).value_or(""), find_sidecar(name)}});
  run.wtz = std::move(file.sens.wtz);
  run.ground = std::move(file.ground);
}

void read_iterations(FinishedRun& run, const RunLog& log) {
  const std::string name = in_folder(run.folder, kSummaryName);
  const RunSummary summary = read_run_summary(name);
  const bool begun = !(summary.started.empty() && summary.rows.empty());
  if (begun && summary.started != log.started) {
    stop_run(
        fmt::format(" ERROR: {} is of the run that started on {}, the log of one that started "
                    "on {}.\n Run quorivex {} again.",
                    name, summary.started, log.started, run.input_file));
  }
  if (!summary.note.empty()) run.notes.push_back(summary.note + ".");
  run.initial_norm = summary.initial_norm;
  run.initial_misfit = summary.initial_misfit;
  run.iterations_made = static_cast<std::int32_t>(summary.rows.size());
  for (const SummaryRow& row : summary.rows) {
    const FinishedIteration iteration{
        .row = row,
        .model_file = in_folder(run.folder, numbered_name(kProgram, row.iteration, "sus")),
        .predicted_file = in_folder(run.folder, numbered_name(kProgram, row.iteration, "pre"))};
    std::string missing;
    for (const std::string& file : {iteration.model_file, iteration.predicted_file}) {
      run.files_left.push_back(file);
      if (!is_file(file)) missing += (missing.empty() ? "" : " and ") + file;
    }
    const bool last = row.iteration == run.iterations_made;
    if (missing.empty()) {
      run.iterations.push_back(iteration);
    } else if (last && log.ended.empty() && log.ending.empty()) {
      // The run writes the row before the files.
      --run.iterations_made;
      run.notes.push_back(fmt::format("Iteration {} was not yet written.", row.iteration));
    } else {
      run.notes.push_back(
          fmt::format("Iteration {} is left out: without {}.", row.iteration, missing));
    }
  }
  if (!run.iterations.empty()) return;
  std::string text = fmt::format(" ERROR: the run of {} has left no iteration.", run.input_file);
  for (const std::string& note : run.notes) text += "\n " + note;
  if (!log.ending.empty()) text += "\n Its log ends with: " + log.ending;
  stop_run(text);
}

}  // namespace

FinishedRun read_finished_run(const std::string& input_file) {
  FinishedRun run;
  run.input_file = input_file;
  run.parameters = read_input_file(input_file);
  auto [folder, log] = find_log(input_file);
  run.folder = std::move(folder);
  run.version = log.version;
  run.started = log.started;
  run.ended = log.ended;
  run.ending = log.ending;
  read_iterations(run, log);
  const Alphas alphas = read_alphas(run.parameters.alphaLine).alphas;
  run.alphas = {alphas.s, alphas.e, alphas.n, alphas.z};
  read_mesh(run);
  run.target = target_misfit(run.parameters, run.observations.ndata);
  return run;
}

std::string path_in(const FinishedRun& run, const std::string& name) {
  return in_folder(run.folder, name);
}

std::string source_in(const FinishedRun& run, const std::string& source) {
  return is_null(source) || constant_of(source) ? source : path_in(run, source);
}

const FinishedIteration& find_iteration(const FinishedRun& run, std::int32_t number) {
  const auto iteration =
      std::find_if(run.iterations.begin(), run.iterations.end(),
                   [=](const FinishedIteration& p) { return p.row.iteration == number; });
  if (iteration != run.iterations.end()) return *iteration;
  std::string text = fmt::format(
      " ERROR: the run of {} has no iteration {}; its iterations are {} to {}.", run.input_file,
      number, run.iterations.front().row.iteration, run.iterations.back().row.iteration);
  for (const std::string& note : run.notes) text += "\n " + note;
  stop_run(text);
}

}  // namespace quorivex
