// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/atomic_file.h"
#include "base/output_lock.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "inversion/sensitivity/getpar.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/model_page.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/export/vtk_files.h"
#include "workbench/model/apply_operation.h"
#include "workbench/model/bound_order.h"
#include "workbench/model/write_quantities.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

constexpr const char* kModelHelp = R"(
Files that no operation of yours sets are best left out: qvx input takes a
constant. An operation is a region and what holds there:

  all                                        every ground cell
  box easting=MIN:MAX northing=MIN:MAX elevation=MIN:MAX depth=MIN:MAX
  ellipsoid centre=E,N,Z axes=A,B,C azimuth=.. dip=..     semi-axes
  slab centre=E,N,Z strike=.. dip=.. length=.. extent=.. thickness=..
  above surface=S        below surface=S     S: points, a grid or an elevation
  between top=S base=S
  polygon outline=FILE                       rings of easting and northing
  file name=MODEL                            @ is the value of a model file
  holes collars=CSV surveys=CSV intervals=CSV reach=M     @NAME is a column
  voxels file=FILE method=average|nearest    CSV or netCDF: a column, a variable
  unit=COLUMN units=CSV, of holes and voxels: @NAME is a column by unit there
  depth_weight exponent=P offset=M           @ is (depth + M)^-P, at most 1
  distance_weight exponent=P offset=M        likewise from the nearest datum
  edges model=MODEL jump=SI                  faces across which MODEL jumps

Every one may have the ranges of box too; depth is that below the ground cells
of the column. A cell belongs to a region when its centre does. Then follow
quantities: initial, reference, lower, upper (SI), active (1, 0, -1),
smallness, smoothness, smoothness_easting, smoothness_northing,
smoothness_depth (weights). KEY=VALUE sets, KEY*=VALUE multiplies; =@ takes
values that the operation brings, =@reference those of another quantity.
Operations apply in their order, the last one wins. A recipe holds one a line,
and comments from a # on; "..." encloses names with blanks.

Examples:
  qvx model --matrix survey.mtx --reference ref.sus --upper up.sus \
            --set 'box easting=4500:4600 depth=50:200 reference=0.05' \
            --set 'above surface=basement.txt upper=0.01'
  qvx model --mesh mesh.txt --topography dem.tif --recipe geology.txt \
            --lower low.sus --upper up.sus --active active.txt --page look.html
  qvx model --matrix survey.mtx --page look.html --show first.sus second.sus
)";

/// The quantities with a file of their own; that of the smallness holds all weights.
constexpr std::array kFiles{Quantity::initial, Quantity::reference, Quantity::lower,
                            Quantity::upper,   Quantity::active,    Quantity::smallness};

struct ModelOptions {
  GroundSource source;
  std::string matrix;
  std::string data;
  std::string recipe;
  std::vector<std::string> set;
  std::array<std::string, kQuantities> outputs;  // by quantity; of kFiles alone
  std::string vtr;
  std::string crs;
  std::string page;
  std::vector<std::string> show;

  const std::string& file_of(Quantity quantity) const {
    const Quantity file = rule_of(quantity).faces ? Quantity::smallness : quantity;
    return outputs[index_of(file)];
  }
};

std::vector<std::string> outputs_of(const ModelOptions& options) {
  std::vector<std::string> names{options.outputs.begin(), options.outputs.end()};
  names.push_back(options.vtr);
  names.push_back(options.page);
  std::erase(names, "");
  return names;
}

/// None where the page is the only output.
std::vector<Operation> operations_of(const ModelOptions& options) {
  std::vector<Operation> operations;
  if (!options.recipe.empty()) operations = read_recipe(options.recipe);
  for (std::size_t n = 0; n < options.set.size(); ++n) {
    operations.push_back(parse_operation(options.set[n], fmt::format("operation {}", n + 1)));
    if (operations.back().word.empty()) refuse(operations.back(), "it is empty");
  }
  const bool looks = !options.show.empty() && outputs_of(options).size() == 1;
  if (operations.empty() && !looks) {
    stop_run(
        " ERROR: give a recipe with --recipe, or operations with --set; only --page with --show "
        "needs none.\nRun qvx model --help for all options and examples.");
  }
  return operations;
}

/// What operations set must have a file.
void check_files_named(const ModelOptions& options, const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) {
    for (const Setting& setting : operation.settings) {
      for (const Quantity quantity : quantities_of(setting.key)) {
        if (!options.file_of(quantity).empty()) continue;
        refuse(operation, fmt::format("it sets {}, but no file is named for that: {} FILE",
                                      setting.key, rule_of(quantity).option));
      }
    }
  }
}

/// Outputs that would replace each other, or a file that is read.
void check_outputs(const ModelOptions& options, const std::vector<Operation>& operations) {
  std::set<fs::path> places;
  for (const std::string& name : outputs_of(options)) {
    if (!places.insert(fs::weakly_canonical(fs::absolute(target_of_links(name)))).second)
      stop_run(fmt::format(" ERROR: two outputs have the name {}.", name));
    refuse_overwriting(name, {options.source.mesh, options.source.topography, options.matrix,
                              options.data, options.recipe});
    for (const std::string& shown : options.show) refuse_overwriting(name, {shown});
    for (const Operation& operation : operations) {
      for (const Setting& setting : operation.settings) {
        refuse_overwriting(name, {setting.value});
      }
    }
  }
}

/// The cells, and the coordinate system that what is known of them agrees on.
struct GroundInCrs {
  SharedGround ground;
  CrsSource crs;
};

GroundInCrs ground_of(const ModelOptions& options) {
  if (options.matrix.empty() == options.source.mesh.empty()) {
    stop_run(" ERROR: give the cells with --mesh, or with --matrix.");
  }
  const CrsSource survey = crs_of_survey(options.crs, options.data);
  if (!options.matrix.empty()) {
    if (options.source.knows_terrain()) {
      stop_run(" ERROR: --matrix knows its terrain; leave --topography and --elevation out.");
    }
    const CrsSource crs{common_crs({survey, {crs_of_matrix(options.matrix), options.matrix}}),
                        options.matrix};
    return {open_sensitivity_file(options.matrix).heading.ground, crs};
  }
  GroundSource source = options.source;
  source.crs = survey;
  TerrainGround found = read_terrain_ground(source, print_warning);
  return {std::make_shared<const Ground>(std::move(found.ground)),
          {found.crs, survey.crs.empty() ? source.topography : survey.from}};
}

/// "0.05", "0.02 to 0.1, mean 0.04".
std::string describe_values(const SetFacts& facts) {
  if (facts.min == facts.max) return fmt::format("{:.6g}", facts.min);
  return fmt::format("{:.6g} to {:.6g}, mean {:.6g}", facts.min, facts.max, facts.mean);
}

void print_facts(const Operation& operation, const OperationFacts& facts, const Ground& ground) {
  fmt::print("{}: {}\n  {} of {} ground cells, {:.4g} m3\n", operation.place,
             without_controls(operation.text), facts.cells, ground.cells(), facts.volume);
  for (const std::string& remark : facts.remarks) fmt::print("  {}\n", without_controls(remark));
  for (const SetFacts& set : facts.set) {
    const QuantityRule& rule = rule_of(set.quantity);
    if (set.count == 0) {
      if (facts.cells > 0) {
        print_warning(fmt::format("{}: {} is set nowhere", operation.place, rule.name));
      }
      continue;
    }
    fmt::print("  {:<21}{}; {} of {} {} changed\n", rule.name, describe_values(set), set.changed,
               set.count, rule.faces ? "faces" : "cells");
  }
  if (facts.cells == 0) {
    print_warning(fmt::format("{}: no ground cell lies in the region", operation.place));
  }
}

/// Of all ground cells, or faces between them.
SetFacts facts_of(Quantity quantity, const ModelQuantities& quantities, const Ground& ground) {
  SetFacts facts{.quantity = quantity};
  double sum = 0.0;
  const auto add = [&](double value) {
    facts.min = facts.count == 0 ? value : std::min(facts.min, value);
    facts.max = facts.count == 0 ? value : std::max(facts.max, value);
    sum += value;
    ++facts.count;
  };
  if (const auto axis = rule_of(quantity).faces) {
    for_each_face(ground, *axis,
                  [&](const GridCell& at, std::int64_t) { add(quantities(quantity, at.below)); });
  } else {
    for (std::int64_t n = 1; n <= ground.cells(); ++n) add(quantities(quantity, n));
  }
  if (facts.count > 0) facts.mean = sum / static_cast<double>(facts.count);
  return facts;
}

/// The quantities that a file holds.
std::vector<Quantity> held_by(Quantity file) {
  if (file != Quantity::smallness) return {file};
  return {Quantity::smallness, Quantity::smoothness_easting, Quantity::smoothness_northing,
          Quantity::smoothness_depth};
}

void print_written(const QuantityFile& file, const ModelQuantities& quantities,
                   const Ground& ground) {
  fmt::print("Written to {}\n", file.name);
  bool any = false;
  for (const Quantity quantity : held_by(file.quantity)) {
    any = any || quantities.is_set(quantity);
    fmt::print("  {:<21}{}\n", rule_of(quantity).name,
               describe_values(facts_of(quantity, quantities, ground)));
  }
  if (any) return;
  std::fflush(stdout);
  fmt::print(stderr, "Note: no operation sets what {} holds.\n", file.name);
}

void print_next(const ModelOptions& options, const std::vector<QuantityFile>& files) {
  const auto or_word = [](const std::string& name, const char* word) {
    return name.empty() ? word : quote_if_needed(name);
  };
  std::string text = fmt::format("qvx input --data {} --matrix {}", or_word(options.data, "OBS"),
                                 or_word(options.matrix, "MATRIX"));
  for (const QuantityFile& file : files) {
    text +=
        fmt::format(" \\\n    {} {}", rule_of(file.quantity).option, quote_if_needed(file.name));
  }
  if (files.empty()) return;
  fmt::print("Next:\n  {} --output INPUT\n", text);
}

void write_vtr(const std::string& name, const ModelQuantities& quantities, const ModelCells& cells,
               const std::string& crs) {
  std::deque<ModelGrid> grids;
  std::vector<NamedGrid> named;
  for (const Quantity quantity : kAllQuantities) {
    if (!quantities.is_set(quantity)) continue;
    grids.push_back(make_model_grid(cells.ground->mesh, ModelExtent::whole,
                                    values_of_cells(quantity, quantities, cells)));
    named.push_back({rule_of(quantity).name, grids.back()});
  }
  write_models_vtr(name, named, crs);
  fmt::print("Written to {}\n", name);
}

std::string page_title(const ModelOptions& options) {
  const std::string& cells = options.matrix.empty() ? options.source.mesh : options.matrix;
  return fmt::format("Models for {}", fs::path(cells).filename().string());
}

/// What operations set, and then `shown`.
void write_page(const ModelOptions& options, const ModelQuantities& quantities,
                const ModelCells& cells, const Observations* data, std::vector<ShownModel> shown) {
  ModelsPage page{.title = page_title(options), .ground = cells.ground, .data = data, .models = {}};
  for (const Quantity quantity : kAllQuantities) {
    if (!quantities.is_set(quantity)) continue;
    page.models.push_back(shown_quantity({quantity, options.file_of(quantity)}, quantities, cells));
  }
  std::move(shown.begin(), shown.end(), std::back_inserter(page.models));
  write_and_tell(page, options.page);
}

void run(const ModelOptions& options) {
  const std::vector<Operation> operations = operations_of(options);
  for (const Operation& operation : operations) check_operation(operation);
  check_files_named(options, operations);
  check_outputs(options, operations);
  std::deque<OutputLock> locks;
  for (const std::string& name : outputs_of(options)) locks.emplace_back(name);
  const GroundInCrs ground = ground_of(options);
  const ModelCells cells = model_cells(ground.ground);
  std::optional<Observations> data;
  if (!options.data.empty()) data = read_observations(options.data);
  const ModelSources sources{
      .cells = cells, .data = data ? &*data : nullptr, .warn = print_warning, .crs = ground.crs};
  std::vector<ShownModel> shown = read_shown_models(options.show, *cells.ground);
  ModelQuantities quantities;
  for (std::size_t n = 0; n < operations.size(); ++n) {
    const OperationFacts facts =
        apply_operation(operations[n], static_cast<std::int32_t>(n + 1), sources, quantities);
    print_facts(operations[n], facts, *cells.ground);
  }
  check_quantities(quantities, cells, operations);
  std::vector<QuantityFile> files;
  for (const Quantity quantity : kFiles) {
    const std::string& name = options.outputs[index_of(quantity)];
    if (!name.empty()) files.push_back({quantity, name});
  }
  write_quantities(files, quantities, cells);
  for (const QuantityFile& file : files) print_written(file, quantities, *cells.ground);
  if (!options.vtr.empty()) write_vtr(options.vtr, quantities, cells, ground.crs.crs);
  if (!options.page.empty()) write_page(options, quantities, cells, sources.data, std::move(shown));
  print_warnings(bound_warnings(quantities, cells, operations));
  print_next(options, files);
}

}  // namespace

void add_model_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("model", "Write models, bounds, active cells, weights; show them");
  const auto o = std::make_shared<ModelOptions>();
  const auto add = [app](const std::string& name, auto& value, const char* type, const char* help) {
    return app->add_option(name, value, help)->type_name(type);
  };
  auto* const mesh = add("--mesh", o->source.mesh, "FILE", "Text mesh file");
  add_terrain_options(*app, o->source);
  add("--matrix", o->matrix, "FILE", "Sensitivity file; its mesh and terrain are taken instead")
      ->excludes(mesh);
  add("--data", o->data, "FILE",
      "Observations file, for distance_weight and for the\nstations of the page");
  add_crs_option(*app, o->crs, "that of --data, --matrix or the terrain grid");
  const auto output = [&](Quantity quantity, const char* help) {
    add(rule_of(quantity).option, o->outputs[index_of(quantity)], "FILE", help);
  };
  output(Quantity::initial, "Initial model to be written");
  output(Quantity::reference, "Reference model to be written");
  output(Quantity::lower, "Lower bounds to be written");
  output(Quantity::upper, "Upper bounds to be written");
  output(Quantity::active, "Active cell file to be written");
  output(Quantity::smallness, "File of 3-D weights to be written");
  add("--vtr", o->vtr, "FILE",
      "VTK grid of what was set, for a look at it; of weights\n"
      "on faces a cell has the mean");
  auto* const page =
      add("--page", o->page, "FILE.html", "Page with sections through what was set, for a browser");
  add("--show", o->show, "FILE",
      "Model file of the mesh, for the page too; may be given\nagain, and with no operation at all")
      ->needs(page);
  auto* const recipe = add("--recipe", o->recipe, "FILE", "Operations, one a line");
  add("--set", o->set, "OPERATION", "An operation; may be given again")->excludes(recipe);
  app->footer(kModelHelp);
  app->callback([o] { run(*o); });
}

}  // namespace quorivex
