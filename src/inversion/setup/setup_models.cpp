// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/setup/setup_models.h"

#include "base/stop_run.h"
#include "inversion/mesh_io/model_files.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "setup_models";

}  // namespace

ActiveCells read_active_cells(const ModelSources& sources, const Mesh& mesh, const ColumnTops& tops,
                              Report& report) {
  ActiveCells active = get_active_cells(sources.active_cells, mesh, tops, report);
  if (sources.mref_in_derivatives && active.influence_cells > 0) {
    stop_run("Error: cannot use SMOOTH_MOD_DIF with inactive cells with influence(-1).");
  }
  return active;
}

void read_reference(const std::string& source, View1<const double> wtz, ModelSetup& setup,
                    Report& report) {
  setup.mref = allocate<double>(as_size(setup.active.ncell), kRoutine);
  std::vector<double> full = allocate<double>(setup.active.map.size(), kRoutine);
  read_full_model(source, "reference model", setup.active, wtz, full, report);
  setup.fixed = split_reference(setup.active, full);
  full_to_active(setup.active, full, setup.mref);
}

void read_initial(const std::string& source, View1<const double> wtz, ModelSetup& setup,
                  Report& report) {
  setup.model = allocate<double>(as_size(setup.active.ncell), kRoutine);
  read_active_model(source, "initial model", setup.active, wtz, setup.model, report);
}

ModelSetup setup_models(const ModelSources& sources, const Mesh& mesh, const ColumnTops& tops,
                        View1<const double> wtz, Report& report) {
  ModelSetup setup;
  setup.active = read_active_cells(sources, mesh, tops, report);
  read_reference(sources.reference, wtz, setup, report);
  read_initial(sources.initial, wtz, setup, report);
  setup.bounds = get_bounds(sources.lower_bounds, sources.upper_bounds, setup.active, wtz, report);
  check_bounds(setup.model, "initial model", setup.bounds, report);
  return setup;
}

}  // namespace quorivex
