// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/model_checks.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "base/statistics.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/mesh_io/model_files.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "check_models";
constexpr double kMaxSusceptibility = 10.0;  // SI, more than any rock has

/// A scaled model of the active cells in SI.
std::vector<double> in_si(const std::vector<double>& model, const std::vector<double>& scale) {
  std::vector<double> values(model);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] /= scale[i];
  return values;
}

/// The reference model's values of the ground cells that are not active, in SI.
std::vector<double> fixed_in_si(const ModelSetup& models, View1<const double> wtz) {
  std::vector<double> full = allocate<double>(models.active.map.size(), kRoutine);
  active_to_full(models.active, models.fixed, models.mref, full);
  const View1<const double> of_cell(full);
  const View1<const std::int32_t> map(models.active.map);
  std::vector<double> values;
  for_each_ground_cell(*models.active.ground, [&](const GridCell& at) {
    if (map(at.cell) <= 0) values.push_back(of_cell(at.cell) / wtz(at.below));
  });
  return values;
}

/// @param cells  "active cells of the initial model"
void check_size(const char* cells, const std::vector<double>& values, Findings& findings) {
  std::int64_t large = 0;
  std::int64_t air = 0;
  for (const double value : values) {
    if (std::abs(value) > kMaxSusceptibility) ++large;
    if (std::abs(value - kAirValue) <= 1e-9 * std::abs(kAirValue)) ++air;  // scaled and back
  }
  if (large == 0) return;
  std::string text =
      fmt::format("{} {} exceed {} SI, more than any rock has", large, cells, kMaxSusceptibility);
  if (air > 0) {
    text += fmt::format(
        ";\n{} of them hold {:g}, the mark of air in model files. In a ground cell it counts as a\n"
        "susceptibility; write 0 there",
        air, kAirValue);
  } else {
    text +=
        "; susceptibilities are\ndimensionless SI values, not thousandths or millionths of them";
  }
  findings.warning(text);
}

void show_active_cells(const ActiveCells& active) {
  const std::int64_t ground = active.ground->cells();
  Findings::fact("cells",
                 fmt::format("{}, {} of them ground cells", active.ground->mesh.cells(), ground));
  std::string text = fmt::format("{}", active.ncell);
  const std::int64_t fixed = ground - active.ncell - active.influence_cells;
  if (fixed > 0) text += fmt::format("; {} are fixed", fixed);
  if (active.influence_cells > 0) {
    text +=
        fmt::format("; {} are fixed with influence on their neighbours", active.influence_cells);
  }
  Findings::fact("active cells", text);
}

void check_reference_in_bounds(const ModelSetup& models, Findings& findings) {
  const CellsAtBounds found = count_at_bounds(models.active.rows, models.mref, models.bounds);
  if (found.outside == 0) return;
  findings.warning(
      fmt::format("{} of {} active cells of the reference model lie outside the bounds, so the\n"
                  "regularisation pulls the model out of bounds",
                  found.outside, models.mref.size()));
}

/// A model that an entry of the input file gives, over the active cells and scaled.
std::vector<double> read_scaled(const std::string& source, const char* label,
                                const ActiveCells& active, View1<const double> wtz) {
  std::vector<double> model = allocate<double>(as_size(active.ncell), kRoutine);
  read_active_model(source, label, active, model);
  scale_active_model(active, wtz, model);
  return model;
}

}  // namespace

bool check_models(const InversionParameters& input, RunSetup& setup, Findings& findings) {
  ModelSetup& models = setup.models;
  const View1<const double> wtz(setup.file.sens.wtz);
  const bool cells = findings.attempt([&] {
    models.active = get_active_cells(input.activeCellFile, setup.file.ground);
    check_influence(input.mrefInDerivatives, models.active);
    require(wtz.size() == models.active.ground->cells(), "idx1 /= size(wtz)");
  });
  if (!cells) {
    Findings::note("models and bounds cannot be checked without the active cells");
    return false;
  }
  show_active_cells(models.active);
  std::vector<double> scale = allocate<double>(as_size(models.active.ncell), kRoutine);
  below_to_active(models.active, wtz, scale);
  const auto show = [&](const char* name, const std::vector<double>& model) {
    std::vector<double> values = in_si(model, scale);
    Findings::fact(name, format_range(values, "SI"));
    return values;
  };
  const bool reference = findings.attempt([&] {
    std::vector<double> full = allocate<double>(models.active.map.size(), kRoutine);
    models.mref = allocate<double>(as_size(models.active.ncell), kRoutine);
    read_full_model(input.referenceModel, "reference model", *setup.file.ground, full);
    set_reference(std::move(full), wtz, models);
    check_size("active cells of the reference model", show("reference model", models.mref),
               findings);
    const std::vector<double> fixed = fixed_in_si(models, wtz);
    if (fixed.empty()) return;
    Findings::fact("fixed cells", format_range(fixed, "SI"));
    check_size("fixed cells of the reference model", fixed, findings);
  });
  const bool initial = findings.attempt([&] {
    models.model = read_scaled(input.initialModel, "initial model", models.active, wtz);
    check_size("active cells of the initial model", show("initial model", models.model), findings);
  });
  const bool bounds = findings.attempt([&] {
    models.bounds.lower = read_scaled(input.lowerBounds, "lower bounds", models.active, wtz);
    models.bounds.upper = read_scaled(input.upperBounds, "upper bounds", models.active, wtz);
    check_bound_order(models.bounds, models.active, wtz);
    show("lower bounds", models.bounds.lower);
    show("upper bounds", models.bounds.upper);
  });
  if (reference && bounds) check_reference_in_bounds(models, findings);
  const bool inside = initial && bounds && findings.attempt([&] {
    const CellsAtBounds found = count_at_bounds(models.active.rows, models.model, models.bounds);
    check_none_outside(found, "initial model");
    if (found.touching == 0) return;
    Findings::note(fmt::format("{} of {} active cells of the initial model lie on a bound",
                               found.touching, models.model.size()));
  });
  return reference && inside;
}

}  // namespace quorivex
