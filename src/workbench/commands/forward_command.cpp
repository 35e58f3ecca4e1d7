// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <memory>

#include "base/stop_run.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/model_files.h"
#include "inversion/sensitivity/getpar.h"
#include "inversion/sensitivity/products.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/forward/predicted_data.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "forward";
constexpr double kMaxNoise = 1e6;  // nT, or percent

struct Options {
  GroundSource ground;
  std::string matrix;
  std::string data;
  std::string model;
  std::string output;
  double floor = 0.0;
  double percent = 0.0;
  std::uint64_t seed = 1;

  bool noise() const { return floor > 0.0 || percent > 0.0; }
};

/// The model of the file, 0 in air, for every cell of the mesh.
std::vector<double> read_model(const std::string& name, const Ground& ground) {
  std::vector<double> model = allocate<double>(as_size(ground.mesh.cells()), kRoutine);
  read_full_model(name, "model", model);
  const View1<double> of_cell(model);
  for_each_cell(ground, [&](const GridCell& at) {
    double& value = of_cell(at.cell);
    if (at.air() || value == kAirValue) value = 0.0;
  });
  return model;
}

std::vector<double> from_prisms(const Options& options, const Observations& data) {
  const SurveyGround survey = read_ground(options.ground, data);
  const Ground& ground = survey.ground;
  const std::vector<double> model = read_model(options.model, ground);
  std::vector<double> cells = allocate<double>(as_size(ground.cells()), kRoutine);
  for_each_ground_cell(ground, [&](const GridCell& at) {
    cells[as_size(at.below - 1)] = model[as_size(at.cell - 1)];
  });
  return predicted_data(ground, data, cells);
}

std::vector<double> from_matrix(const Options& options, const SensitivityFile& file,
                                const Observations& data) {
  const ActiveCells active = get_active_cells("null", file.ground);
  require(length(file.sens.wtz) == file.ground->cells(), "idx1 /= size(wtz)");
  std::vector<double> model = read_model(options.model, *file.ground);
  scale_full_model(*file.ground, file.sens.wtz, model);
  std::vector<double> values = allocate<double>(as_size(data.ndata), kRoutine);
  gprod(file.sens, active, model, values);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] *= data.std[i];
  return values;
}

std::vector<double> predict(const Options& options, Observations& data) {
  if (options.matrix.empty()) {
    data = read_data_file(options.data, DataColumns::as_found);
    hint_at_units(data);
    return from_prisms(options, data);
  }
  const SensitivityFile file = getpar(options.matrix);
  // The rows are divided by the standard deviations, which must be known to undo it.
  data = read_data_with_deviations(options.data, file.sens.ndata);
  return from_matrix(options, file, data);
}

void run(const Options& options) {
  if (options.matrix.empty() == options.ground.mesh.empty()) {
    stop_run(" ERROR: give either --mesh (with --topography or --elevation) or --matrix.");
  }
  refuse_overwriting(options.output, {options.data, options.model, options.matrix,
                                      options.ground.mesh, options.ground.topography});
  Observations data;
  std::vector<double> values = predict(options, data);
  std::vector<double> deviations;
  if (options.noise()) deviations = add_noise(options.floor, options.percent, options.seed, values);
  write_data_file(options.output, data, values, deviations);
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  fmt::print("{}: {} data, {:.6g} to {:.6g} nT{}\n", options.output, data.ndata, *least, *most,
             options.noise() ? ", noise included, with standard deviations" : "");
}

}  // namespace

void add_forward_command(CLI::App& qvx) {
  CLI::App* command =
      qvx.add_subcommand("forward", "Compute the data of a model, with or without noise");
  const auto o = std::make_shared<Options>();
  const auto add = [command](const char* name, auto& value, const char* type, const char* help) {
    return command->add_option(name, value, help)->type_name(type);
  };
  add("--data", o->data, "FILE", "Observations file: stations and directions; values are not used")
      ->required();
  add("--model", o->model, "FILE",
      "Model file: susceptibility (SI) of every cell of the\n"
      "mesh in cell order, any number to a line, 10*0.5 for\n"
      "ten times 0.5; air cells count as 0")
      ->required();
  auto* const mesh = add("--mesh", o->ground.mesh, "FILE", "Text mesh file");
  add_terrain_options(*command, o->ground);
  add("--matrix", o->matrix, "FILE",
      "Sensitivity file, in place of mesh and terrain; needs\n"
      "standard deviations in --data")
      ->excludes(mesh)
      ->excludes(command->get_option("--topography"))
      ->excludes(command->get_option("--elevation"));
  add("--output", o->output, "FILE", "File to write, in the layout of observations")->required();
  add("--noise-floor", o->floor, "NT", "Standard deviation of Gaussian noise [0, no noise]")
      ->check(number(0.0, kMaxNoise));
  add("--noise-percent", o->percent, "P", "Percentage of each datum added to it [0]")
      ->check(number(0.0, kMaxNoise));
  add("--seed", o->seed, "N", "The same seed gives the same noise")->capture_default_str();
  add_thread_option(*command);
  command->footer(
      "\nWith noise the output holds standard deviations and can be inverted.\n"
      "Example:\n"
      "  qvx forward --mesh mesh.txt --data stations.mag --model model.txt \\\n"
      "              --noise-floor 2 --noise-percent 1 --output synthetic.mag");
  command->callback([o] { run(*o); });
}

}  // namespace quorivex
