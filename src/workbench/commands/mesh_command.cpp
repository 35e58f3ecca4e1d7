// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/output_lock.h"
#include "base/statistics.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/sensitivity/memory.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/forward/build_estimate.h"
#include "workbench/forward/station_checks.h"
#include "workbench/survey/ground_design.h"

namespace quorivex {
namespace {

constexpr std::int64_t kManyCells = 20'000'000;

constexpr const char* kMeshHelp = R"(
M and Z are metres; in brackets what is taken where nothing is given, rounded.

Square core cells lie below all stations and half a cell beyond, on multiples
of their width. Cells that widen outward pad them on each side, so that
sources beyond the survey have a place. Layers are thin at the top and thicken
with depth. A body is seen whole only where the survey is about twice as wide
as the body is deep, so the layers reach half the survey's width.

Lines are found from the positions, in any order and direction. Between them
the data resolve nothing narrower than about half their distance, however
dense the stations along them are.

With --topography or --elevation the mesh top is put at the highest terrain on
the mesh, so that none is cut off, layers are equally thin down to the lowest
terrain below the survey, so that the cells follow the ground, and depths
count from the lowest terrain on the mesh. How far the cells' ground lies
below the terrain is reported. Without them the terrain is unknown: the mesh
top is then the ground, and the default keeps all stations above it. Give
--elevation (or --top) where they fly high above level ground.

Examples:
  qvx mesh --data survey.mag --output mesh.txt
  qvx mesh --data survey.mag --topography dem.nc --output mesh.txt --cell 50
)";

struct MeshCommand {
  std::string data;
  std::string output;
  GroundSource source;
  MeshWishes wishes;
};

std::string describe_survey(const Observations& data, const SurveyShape& shape) {
  const auto axis = [](const char* name, const Interval& extent) {
    return fmt::format("  {:<10} {:.10g} to {:.10g} m\n", name, extent.min, extent.max);
  };
  const StationSpacing& stations = shape.stations;
  std::string text = fmt::format("Survey: {} data at {} places\n", data.ndata, stations.places) +
                     axis("easting", shape.easting) + axis("northing", shape.northing) +
                     axis("elevation", shape.elevation);
  if (stations.places > 1) {
    text += fmt::format("  {:<10} {:.4g} m, the median distance of a place to the nearest other\n",
                        "spacing", stations.median);
  }
  if (stations.lines) {
    text += fmt::format("  {:<10} about {} m apart\n", "lines", round_width(*stations.lines));
  }
  return text;
}

std::string describe_terrain(const GroundDesign& design) {
  if (!design.terrain) return "";
  const SurveyTerrain& terrain = *design.terrain;
  return fmt::format(
      "Terrain ({}): {:.6g} to {:.6g} m on the mesh, {:.6g} to {:.6g} m below the survey,\n"
      "  {:.4g} m below the stations (median)\n",
      design.description, terrain.mesh.min, terrain.mesh.max, terrain.survey.min,
      terrain.survey.max, terrain.clearance);
}

std::string describe_cell(const MeshPlan& plan) {
  const auto from = [&] {
    switch (plan.cell_from) {
      case CellFrom::stations:
        return ", half the spacing of the stations";
      case CellFrom::lines:
        return ", a quarter of the distance between lines";
      case CellFrom::extent:
        return ", a twentieth of the survey's longer side";
      case CellFrom::clearance:
        return ", half the height of the stations above the terrain";
      case CellFrom::wish:
        break;
    }
    return "";
  };
  return fmt::format("  core of cells {} m wide{}\n", plan.cell, from());
}

std::string describe_plan(const MeshPlan& plan, const Mesh& mesh) {
  const std::string thin = fmt::format("of {} m through the relief, then\n  ", plan.first_layer);
  return describe_cell(plan) +
         fmt::format(
             "  padding of {:.6g} m or more on each side, growth {}\n"
             "  layers {}growing {} times to a depth of {:.6g} m or more, and {} below, growth "
             "{}:\n  ",
             plan.padding, plan.growth, plan.relief.width() > plan.first_layer ? thin : "",
             plan.layer_growth, plan.depth, plan.bottom_layers, plan.growth) +
         width_list(mesh.dz, 96, "\n  ");
}

/// What the mesh costs, and what makes it cheaper.
std::string describe_size(const MeshCommand& command, const Observations& data,
                          const SurveyShape& shape, const GroundDesign& design) {
  MeshWishes wider = command.wishes;
  wider.cell = round_width(1.5 * design.plan.cell);
  const Mesh smaller = design_mesh(shape, plan_of(shape, wider, design.terrain));
  const auto memory = [&](bool compressed) {
    return format_bytes(inversion_bytes(typical_counts(design.ground, data.ndata, compressed)));
  };
  return fmt::format(
      "{} cells are ground. An inversion of these data takes {} with a full matrix,\n"
      "about {} with a compressed one of typical size; qvx sensitivity --plan estimates it.\n"
      "Fewer cells: --cell {} makes {}; so do more --layer-growth, less --padding or --depth.\n"
      "Fewer data (qvx survey --spacing) make a smaller matrix.\n",
      design.ground.cells(), memory(false), memory(true), *wider.cell, smaller.cells());
}

std::string next_step(const MeshCommand& command, const Observations& data, const MeshPlan& plan) {
  const auto matrix = std::filesystem::path(command.output)
                          .replace_filename(std::filesystem::path(command.data).stem())
                          .concat(".mtx");
  const GroundSource& source = command.source;
  const std::string terrain = !source.topography.empty()
                                  ? " --topography " + quote_if_needed(source.topography)
                              : source.elevation ? fmt::format(" --elevation {}", *source.elevation)
                                                 : "";
  const std::string top =
      command.source.knows_terrain()
          ? "."
          : fmt::format(
                ". No terrain was given: the top of the mesh, {} m, is then the ground of\n"
                "the next step. Where the terrain is known, give --topography or --elevation in "
                "both steps;\nwhat rises above the top of the mesh is cut off.",
                plan.top);
  return fmt::format(
      "Written to {}{}\nNext{}:\n  qvx sensitivity --mesh {}{} --data {} --output {}\n",
      command.output, top,
      data.std.empty() ? ", once the file holds data with their standard deviations" : "",
      quote_if_needed(command.output), terrain, quote_if_needed(command.data),
      quote_if_needed(matrix.string()));
}

void warn_of_top(const Observations& data, const MeshPlan& plan) {
  const auto below =
      std::count_if(data.z.begin(), data.z.end(), [&](double z) { return z < plan.top; });
  if (below == 0) return;
  fmt::print(stderr,
             "Warning: {} of {} stations lie below the mesh top of {} m. That is right only with "
             "a\nterrain that lies below them; give it with --topography or --elevation, or give a "
             "lower\n--top.\n",
             below, data.ndata, plan.top);
}

void warn_of_cells(const Mesh& mesh) {
  if (mesh.cells() <= kManyCells) return;
  fmt::print(stderr,
             "Warning: {} cells are more than most machines can invert. Wider cells (--cell) or\n"
             "thicker layers (--first-layer, --layer-growth) make fewer.\n",
             mesh.cells());
}

void run(const MeshCommand& command) {
  refuse_overwriting(command.output, {command.data, command.source.topography});
  const OutputLock lock(command.output);
  const Observations data = read_observations(command.data);
  const SurveyShape shape = survey_shape(data);
  GroundSource source = command.source;
  source.crs = crs_of_survey("", command.data);
  const GroundDesign made = design_ground(source, command.wishes, data, shape, print_warning);
  const Mesh& mesh = made.ground.mesh;
  write_mesh_file(command.output, mesh);
  fmt::print("{}{}\n{}{}\n", describe_survey(data, shape), describe_terrain(made),
             describe_mesh(mesh), describe_plan(made.plan, mesh));
  if (made.gap) fmt::print("  the cells' ground lies {}\n", describe_gap(*made.gap, "\n  "));
  fmt::print("\n{}\n{}", describe_size(command, data, shape, made),
             next_step(command, data, made.plan));
  if (made.terrain) print_warnings(station_warnings(data, mesh, made.heights));
  if (!command.source.knows_terrain()) warn_of_top(data, made.plan);
  warn_of_cells(mesh);
}

}  // namespace

void add_mesh_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("mesh", "Design a mesh for the stations of a survey");
  const auto command = std::make_shared<MeshCommand>();
  MeshWishes& wishes = command->wishes;
  const auto add = [app](const char* name, auto& value, const char* type, const char* help) {
    return app->add_option(name, value, help)->type_name(type);
  };
  add("--data", command->data, "FILE", "Observations file; only its positions are used")
      ->required();
  add("--output", command->output, "FILE", "Text mesh file to be written")->required();
  add_terrain_options(*app, command->source, "the terrain is unknown");
  add("--cell", wishes.cell, "M",
      "Width of the core cells [a quarter of the distance\n"
      "between lines, at most a twentieth of the survey's\n"
      "longer side; without lines half the distance between\n"
      "stations; at least half the median height of the\n"
      "stations above the terrain, where it is given]")
      ->check(number(kMinLength, kMaxLength));
  add("--padding", wishes.padding, "M",
      "Padding on each side, at least; 0 for none [the longer\n"
      "side of the survey]")
      ->check(number(0.0, kMaxLength));
  add("--growth", wishes.growth, "F", "Each padding cell is so many times as wide as the last")
      ->capture_default_str()
      ->check(number(1.0, 10.0));
  add("--top", wishes.top, "Z",
      "Elevation of the mesh top [the highest terrain; without\n"
      "one just below the lowest station]")
      ->check(number(-kMaxLength, kMaxLength));
  add("--first-layer", wishes.first_layer, "M",
      "Thickness of the first layer, and of all through the\n"
      "relief below the survey [half a core cell; in relief at\n"
      "most a quarter of the median height of the stations\n"
      "above the terrain, at least a tenth of a core cell]")
      ->check(number(kMinLength, kMaxLength));
  add("--layer-growth", wishes.layer_growth, "F",
      "Each layer below the relief is so many times as thick\n"
      "as the one above, and above it as the one below [1.1;\n"
      "1.25 where layers are thin for the sake of relief]")
      ->check(number(1.0, 10.0));
  add("--depth", wishes.depth, "M",
      "Depth below the top that these layers reach, at least\n"
      "[below the lowest terrain half the shorter side of the\n"
      "survey, or a quarter of the longer one if that is more]")
      ->check(number(kMinLength, kMaxLength));
  add("--bottom-layers", wishes.bottom_layers, "N",
      "Layers of padding below that depth, growing by --growth")
      ->capture_default_str()
      ->check(whole_number(0, 100));
  app->footer(kMeshHelp);
  app->callback([command] { run(*command); });
}

}  // namespace quorivex
