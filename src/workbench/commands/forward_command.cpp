// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <memory>

#include "base/output_lock.h"
#include "base/ranks.h"
#include "base/statistics.h"
#include "base/stop_run.h"
#include "inversion/sensitivity/getpar.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/forward/predicted_data.h"

namespace quorivex {
namespace {

constexpr double kMaxNoise = 1e6;  // nT, or percent

struct ForwardOptions {
  GroundSource ground;
  std::string matrix;
  std::string data;
  std::string model;
  std::string output;
  std::string crs;
  double floor = 0.0;
  double percent = 0.0;
  std::uint64_t seed = 1;

  bool noise() const { return floor > 0.0 || percent > 0.0; }
};

/// Reads what the options name; fills `data` with the observations, and `crs`.
std::vector<double> predict(const ForwardOptions& options, Observations& data, std::string& crs) {
  GroundSource source = options.ground;
  source.crs = crs_of_survey(options.crs, options.data);
  crs = source.crs.crs;
  if (options.matrix.empty()) {
    data = read_observations(options.data);
    hint_at_units(data);
    const SurveyGround survey = read_ground(source, data);
    crs = survey.crs;
    return predicted_data(survey.ground, data, read_ground_model(options.model, survey.ground),
                          ranks::Team::all);
  }
  const SensitivityFile file = getpar(options.matrix);
  // The rows are divided by the standard deviations, which must be known to undo it.
  data = read_data_with_deviations(options.data, file.sens.ndata);
  return predicted_data(file, data, read_ground_model(options.model, *file.ground));
}

void run(const ForwardOptions& options) {
  if (options.matrix.empty() == options.ground.mesh.empty()) {
    stop_run(" ERROR: give either --mesh (with --topography or --elevation) or --matrix.");
  }
  refuse_overwriting(options.output, {options.data, options.model, options.matrix,
                                      options.ground.mesh, options.ground.topography});
  std::optional<OutputLock> lock;
  if (ranks::is_first()) lock.emplace(options.output);
  // The processes share the prisms; a matrix is read and multiplied by the first.
  if (!options.matrix.empty() && !ranks::is_first()) return;
  Observations data;
  std::string crs;
  std::vector<double> values = predict(options, data, crs);
  std::vector<double> deviations;
  if (options.noise()) deviations = add_noise(options.floor, options.percent, options.seed, values);
  std::vector<std::string> comments;
  if (!crs.empty()) comments.push_back(crs_remark(crs));
  if (ranks::is_first()) write_data_file(options.output, data, values, deviations, comments);
  fmt::print("{}: {} data, {}{}\n", options.output, data.ndata, format_range(values, "nT"),
             options.noise() ? ", noise included, with standard deviations" : "");
}

}  // namespace

void add_forward_command(CLI::App& qvx) {
  CLI::App* command =
      qvx.add_subcommand("forward", "Compute the data of a model, with or without noise");
  const auto o = std::make_shared<ForwardOptions>();
  const auto add = [command](const char* name, auto& value, const char* type, const char* help) {
    return command->add_option(name, value, help)->type_name(type);
  };
  add("--data", o->data, "FILE",
      "Observations file: stations and directions; its\n"
      "values are not used")
      ->required();
  add("--model", o->model, "FILE",
      "Model file: susceptibility (SI) of every cell of the\n"
      "mesh in cell order, any number per line, 10*0.5 for\n"
      "ten times 0.5; air counts as 0")
      ->required();
  auto* const mesh = add("--mesh", o->ground.mesh, "FILE", "Text mesh file");
  add_terrain_options(*command, o->ground);
  add("--matrix", o->matrix, "FILE",
      "Sensitivity file, instead of mesh and terrain; needs\n"
      "standard deviations in --data")
      ->excludes(mesh)
      ->excludes(command->get_option("--topography"))
      ->excludes(command->get_option("--elevation"));
  add_crs_option(*command, o->crs, "that of --data or of the terrain grid");
  add("--output", o->output, "FILE", "File to write, in the layout of observations")->required();
  add("--noise-floor", o->floor, "NT", "Standard deviation of Gaussian noise, nT [0, no noise]")
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
