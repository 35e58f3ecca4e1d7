// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/model_checks.h"

#include <fmt/format.h>

#include <cmath>

#include "base/statistics.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/cell_vectors.h"

namespace quorivex {
namespace {

constexpr double kMaxSusceptibility = 10.0;  // SI, more than any rock has

/// A scaled model of the active cells in SI.
std::vector<double> in_si(const std::vector<double>& model, const std::vector<double>& scale) {
  std::vector<double> values(model);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] /= scale[i];
  return values;
}

/// The reference model's values of the ground cells that are not active, in SI.
std::vector<double> fixed_in_si(const ModelSetup& models, View1<const double> wtz) {
  std::vector<double> full = allocate<double>(models.active.map.size(), "check_models");
  active_to_full(models.active, models.fixed, models.mref, full);
  std::vector<double> values;
  std::int64_t below = 0;
  for_each_below(models.active, [&](std::int64_t cell) {
    ++below;
    if (models.active.map[as_size(cell - 1)] <= 0) {
      values.push_back(full[as_size(cell - 1)] / wtz(below));
    }
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
  Findings::fact("cells", fmt::format("{}, {} of them ground cells", active.total_cells,
                                      active.cells_below_topo));
  std::string text = fmt::format("{}", active.ncell);
  const std::int32_t fixed = active.cells_below_topo - active.ncell - active.influence_cells;
  if (fixed > 0) text += fmt::format("; {} are fixed", fixed);
  if (active.influence_cells > 0) {
    text +=
        fmt::format("; {} are fixed with influence on their neighbours", active.influence_cells);
  }
  Findings::fact("active cells", text);
}

/// Numbers of cells of a model outside the bounds, and on one.
struct AtBounds {
  std::int64_t outside = 0;
  std::int64_t on = 0;
};

AtBounds at_bounds(const std::vector<double>& model, const Bounds& bounds) {
  AtBounds found;
  for (std::size_t i = 0; i < model.size(); ++i) {
    if (model[i] < bounds.lower[i] || model[i] > bounds.upper[i]) {
      ++found.outside;
    } else if (model[i] == bounds.lower[i] || model[i] == bounds.upper[i]) {
      ++found.on;
    }
  }
  return found;
}

void check_reference_in_bounds(const ModelSetup& models, Findings& findings) {
  const AtBounds found = at_bounds(models.mref, models.bounds);
  if (found.outside == 0) return;
  findings.warning(
      fmt::format("{} of {} active cells of the reference model lie outside the bounds, so the\n"
                  "regularisation pulls the model out of bounds",
                  found.outside, models.mref.size()));
}

}  // namespace

bool check_models(const InversionParameters& par, RunSetup& setup, Findings& findings) {
  Report quiet;
  quiet.leave_console();
  ModelSetup& models = setup.models;
  const ModelSources sources = model_sources(par);
  const View1<const double> wtz(setup.file.sens.wtz);
  const bool cells = findings.attempt([&] {
    models.active = read_active_cells(sources, setup.file.mesh, setup.file.tops, quiet);
    require(wtz.size() == models.active.cells_below_topo, "idx1 /= size(wtz)");
  });
  if (!cells) {
    Findings::note("models and bounds cannot be checked without the active cells");
    return false;
  }
  show_active_cells(models.active);
  std::vector<double> scale = allocate<double>(as_size(models.active.ncell), "check_models");
  below_to_active(models.active, wtz, scale);
  const auto show = [&](const char* name, const std::vector<double>& model) {
    std::vector<double> values = in_si(model, scale);
    Findings::fact(name, format_range(values, "SI"));
    return values;
  };
  const bool reference = findings.attempt([&] {
    read_reference(sources.reference, wtz, models, quiet);
    check_size("active cells of the reference model", show("reference model", models.mref),
               findings);
    const std::vector<double> fixed = fixed_in_si(models, wtz);
    if (fixed.empty()) return;
    Findings::fact("fixed cells", format_range(fixed, "SI"));
    check_size("fixed cells of the reference model", fixed, findings);
  });
  const bool initial = findings.attempt([&] {
    read_initial(sources.initial, wtz, models, quiet);
    check_size("active cells of the initial model", show("initial model", models.model), findings);
  });
  const bool bounds = findings.attempt([&] {
    models.bounds =
        get_bounds(sources.lower_bounds, sources.upper_bounds, models.active, wtz, quiet);
    show("lower bounds", models.bounds.lower);
    show("upper bounds", models.bounds.upper);
  });
  if (reference && bounds) check_reference_in_bounds(models, findings);
  const bool inside = initial && bounds && findings.attempt([&] {
    check_bounds(models.model, "initial model", models.bounds, quiet);
    const AtBounds found = at_bounds(models.model, models.bounds);
    if (found.on == 0) return;
    Findings::note(fmt::format("{} of {} active cells of the initial model lie on a bound",
                               found.on, models.model.size()));
  });
  return reference && inside;
}

}  // namespace quorivex
