// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/read_run.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "base/fixed_format.h"
#include "base/phase_times.h"
#include "base/ranks.h"
#include "base/stop_run.h"
#include "base/text_file.h"
#include "inversion/control/run_log_lines.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/model_files.h"
#include "inversion/sensitivity/memory.h"

namespace quorivex {
namespace {

constexpr std::size_t kEchoLength = 200;

void echo_input_file(const std::string& name, Report& report) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) return;  // the reader stops the run
  report.log(echo_head(name));
  std::string line;
  while (file->read_line(line, kEchoLength)) report.log(fmt::format("{}\n", trim_right(line)));
  report.log(echo_end());
}

SensitivityFile read_sensitivity_file(const std::string& name, Report& report) {
  OpenSensitivityFile opened = open_sensitivity_file(name);
  report.flush_log();
  take_part(opened);
  read_wtz(opened);
  if (!opened.heading.sens.compressed) report.both(full_matrix_warning());
  return read_matrix_rows(std::move(opened));
}

ActiveCells read_active(const InversionParameters& input, const SharedGround& ground,
                        Report& report) {
  const std::string& name = input.activeCellFile;
  ActiveCells active = read_active_cells(name, ground);
  if (!is_null(name)) report.log(active_cells_read(name));
  report.log(cell_counts(active));
  check_any_active(active);
  check_influence(input.mrefInDerivatives, active);
  return active;
}

/// An entry of the input file for a model over the active cells.
struct ModelEntry {
  const std::string& source;
  const char* label;
};

void read_model(const ModelEntry& entry, const ActiveCells& active, View1<const double> wtz,
                View1<double> model, Report& report) {
  const auto constant = read_active_model(entry.source, entry.label, active, model);
  report.log(model_read(entry.label, entry.source, constant));
  scale_active_model(active, wtz, model);
}

Bounds read_bounds(const InversionParameters& input, const ActiveCells& active,
                   View1<const double> wtz, Report& report) {
  constexpr const char* kRoutine = "get_bounds";
  const std::size_t cells = as_size(active.ncell);
  Bounds bounds;
  bounds.lower = allocate<double>(cells, kRoutine);
  bounds.upper = allocate<double>(cells, kRoutine);
  read_model({input.lowerBounds, "lower bounds"}, active, wtz, bounds.lower, report);
  read_model({input.upperBounds, "upper bounds"}, active, wtz, bounds.upper, report);
  check_bound_order(bounds, active, wtz);
  return bounds;
}

ModelSetup read_models(const InversionParameters& input, const SensitivityFile& file,
                       Report& report) {
  constexpr const char* kRoutine = "setup_models";
  constexpr const char* kReference = "reference model";
  constexpr const char* kInitial = "initial model";
  const View1<const double> wtz(file.sens.wtz);
  ModelSetup setup;
  setup.active = read_active(input, file.ground, report);
  const std::size_t cells = as_size(setup.active.ncell);
  std::vector<double> full = allocate<double>(setup.active.map.size(), kRoutine);
  setup.mref = allocate<double>(cells, kRoutine);
  setup.model = allocate<double>(cells, kRoutine);
  const auto constant = read_full_model(input.referenceModel, kReference, *file.ground, full);
  report.log(model_read(kReference, input.referenceModel, constant));
  set_reference(std::move(full), wtz, setup);
  ranks::meet();  // refuses numbers of cells that disagree, where some of the processes see them
  read_model({input.initialModel, kInitial}, setup.active, wtz, setup.model, report);
  setup.bounds = read_bounds(input, setup.active, wtz, report);
  const CellsAtBounds at_bounds = count_at_bounds(setup.active.rows, setup.model, setup.bounds);
  if (at_bounds.touching > 0) report.both(touching_bounds_warning(kInitial, at_bounds.touching));
  check_none_outside(at_bounds, kInitial);
  return setup;
}

/// Files but the 3-D weights, which are read when the operators are formed.
RunSetup read_files(const InversionParameters& input, Report& report) {
  const PhaseTimer timer(Phase::read);
  RunSetup setup;
  setup.file = read_sensitivity_file(input.mtxFile, report);
  return_freed_memory();
  setup.data = read_data_file(input.obsFile, DataColumns::values, setup.file.sens.ndata);
  report.log(data_count(setup.data.ndata));
  setup.models = read_models(input, setup.file, report);
  report.log("\n");
  const AlphaLine line = read_alphas(input.alphaLine);
  report.both(alpha_lines(line));
  setup.alphas = line.alphas;
  return setup;
}

}  // namespace

InversionParameters read_input(const std::string& name, Report& report) {
  const PhaseTimer timer(Phase::read);
  if (name == "-inp") throw StopRun(sample_input());
  echo_input_file(name, report);
  return read_input_file(name);
}

RunSetup read_run(const InversionParameters& input, Report& report) {
  RunSetup setup = read_files(input, report);
  derive_terms(input, setup);
  report.flush_log();
  return setup;
}

}  // namespace quorivex
