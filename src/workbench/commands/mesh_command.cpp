// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "inversion/mesh_io/describe_mesh.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/forward/station_checks.h"
#include "workbench/survey/mesh_design.h"

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

Where stations are dense along lines, half their distance asks for cells much
narrower than the distance between the lines deserves. The program says so,
and what --cell to try.

With --topography or --elevation the mesh top is put at the highest terrain on
the mesh, so that none is cut off, and depths count from the lowest. Without
them the terrain is unknown: the mesh top is then the ground, and the default
keeps all stations above it. Give --elevation (or --top) where they fly high
above level ground.

Examples:
  qvx mesh --data survey.mag --output mesh.txt
  qvx mesh --data survey.mag --topography dem.nc --output mesh.txt --cell 50
)";

struct MeshCommand {
  std::string data;
  std::string output;
  GroundSource source;
  MeshWishes wishes;

  bool knows_terrain() const { return !source.topography.empty() || source.elevation; }
};

std::string describe_survey(const Observations& data, const SurveyShape& shape) {
  const auto axis = [](const char* name, const Interval& extent) {
    return fmt::format("  {:<10} {:.10g} to {:.10g} m\n", name, extent.min, extent.max);
  };
  std::string text =
      fmt::format("Survey: {} data at {} places\n", data.ndata, shape.stations.places) +
      axis("easting", shape.easting) + axis("northing", shape.northing) +
      axis("elevation", shape.elevation);
  if (shape.stations.places > 1) {
    text += fmt::format("  {:<10} {:.4g} m, the median distance of a place to the nearest other\n",
                        "spacing", shape.stations.median);
  }
  return text;
}

std::string describe_plan(const MeshPlan& plan, const Mesh& mesh) {
  return fmt::format(
             "  core of cells {} m wide; padding of {:.6g} m or more on each side, growth {}\n"
             "  layers growing {} times to a depth of {:.6g} m or more, and {} below, growth {}:\n"
             "  ",
             plan.cell, plan.padding, plan.growth, plan.layer_growth, plan.depth,
             plan.bottom_layers, plan.growth) +
         width_list(mesh.dz, 96, "\n  ");
}

/// Lines that were measured densely ask for cells much narrower than what lies between the lines.
std::string advice_on_lines(const SurveyShape& shape, const MeshPlan& plan) {
  const std::optional<double> between = line_spacing(shape);
  if (!between || plan.cell > 0.2 * *between) return "";
  return fmt::format(
      "Note: the stations seem to stand on lines about {} m apart, closer along the lines than\n"
      "across. Between the lines the data resolve no bodies shallower than that; cells of a "
      "quarter\n"
      "of that distance, --cell {}, show the others and make a much smaller matrix.\n",
      round_width(*between), round_width(0.25 * round_width(*between)));
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
      command.knows_terrain()
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

struct Design {
  MeshPlan plan;
  Mesh mesh;
  std::string terrain;  // a line about it, or nothing
  std::vector<std::string> warnings;
};

Design design(const MeshCommand& command, const Observations& data, const SurveyShape& shape) {
  Design found{.plan = plan_mesh(shape, command.wishes), .mesh = {}, .terrain = {}, .warnings = {}};
  found.mesh = design_mesh(shape, found.plan);
  if (!command.knows_terrain()) return found;
  // Where the mesh lies does not depend on its top.
  const Terrain terrain = terrain_of(command.source, found.mesh, print_warning);
  TerrainTops tops = column_tops_of_terrain(found.mesh, terrain);
  found.plan = plan_under_terrain(found.plan, command.wishes, {tops.min, tops.max});
  found.mesh = design_mesh(shape, found.plan);
  tops = column_tops_of_terrain(found.mesh, terrain);
  found.terrain = fmt::format("Terrain on the mesh ({}): {:.6g} to {:.6g} m\n", terrain.description,
                              tops.min, tops.max);
  found.warnings = station_warnings(data, found.mesh, heights_above(terrain, data));
  warn_of_misfit(terrain, tops, found.mesh,
                 [&](const std::string& sentence) { found.warnings.push_back(sentence); });
  return found;
}

void run(const MeshCommand& command) {
  refuse_overwriting(command.output, {command.data, command.source.topography});
  const Observations data = read_observations(command.data);
  const SurveyShape shape = survey_shape(data);
  const auto [plan, mesh, terrain, warnings] = design(command, data, shape);
  write_mesh_file(command.output, mesh);
  const double matrix = 4.0 * static_cast<double>(mesh.cells()) * data.ndata;
  fmt::print("{}{}\n{}{}\nA full sensitivity matrix for these data takes {}.\n{}\n{}",
             describe_survey(data, shape), terrain, describe_mesh(mesh), describe_plan(plan, mesh),
             format_bytes(matrix), advice_on_lines(shape, plan), next_step(command, data, plan));
  print_warnings(warnings);
  if (!command.knows_terrain()) warn_of_top(data, plan);
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
      "Width of the core cells [half the median distance of a\n"
      "station to the nearest other one]")
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
  add("--first-layer", wishes.first_layer, "M", "Thickness of the first layer [half a core cell]")
      ->check(number(kMinLength, kMaxLength));
  add("--layer-growth", wishes.layer_growth, "F",
      "Each layer is so many times as thick as the one above")
      ->capture_default_str()
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
