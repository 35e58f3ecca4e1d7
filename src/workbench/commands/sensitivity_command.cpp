// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>

#include "base/output_lock.h"
#include "base/ranks.h"
#include "base/statistics.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/sensitivity/memory.h"
#include "inversion/sensitivity/wavelet_filters.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/forward/build_estimate.h"
#include "workbench/forward/describe_build.h"
#include "workbench/forward/write_sensitivity_file.h"

namespace quorivex {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kNextLine = "\n                       ";  // of a value in the reports

struct SensitivityOptions {
  GroundSource ground;
  std::string data;
  std::string output;
  std::string crs;
  std::string wavelet = "daub4";
  std::string scale = "distance";
  double exponent = 3.0;
  std::optional<double> offset;
  CompressionRule rule;
  bool choose_error = false;  // --error auto
  bool plan = false;
};

const std::map<std::string, ScaleRule::Kind>& scale_kinds() {
  static const std::map<std::string, ScaleRule::Kind> kKinds{
      {"distance", ScaleRule::Kind::distance},
      {"depth", ScaleRule::Kind::depth},
      {"sensitivity", ScaleRule::Kind::sensitivity},
      {"none", ScaleRule::Kind::none}};
  return kKinds;
}

ScaleRule scale_rule(const SensitivityOptions& options, const SurveyGround& survey) {
  ScaleRule rule{.kind = scale_kinds().at(options.scale), .exponent = options.exponent};
  rule.offset = default_offset(survey.ground);
  // For depth the offset should bring it close to the distance to the stations.
  if (rule.kind == ScaleRule::Kind::depth) {
    rule.offset = std::max(rule.offset, survey.median_height);
  }
  rule.offset = options.offset.value_or(rule.offset);
  return rule;
}

BuildOptions build_options(const SensitivityOptions& options) {
  BuildOptions build{.low_pass = {}, .rule = options.rule};
  if (options.wavelet != "none") build.low_pass = low_pass_filter(options.wavelet);
  return build;
}

void print_size(const Ground& ground, const MatrixCounts& counts, double bytes) {
  if (counts.compressed) {
    const auto [depth, east, north] = wavelet_grid(ground.mesh);
    fmt::print("  coefficients         {}, {:.0f} per datum\n", counts.coefficients,
               static_cast<double>(counts.coefficients) / static_cast<double>(counts.ndata));
    fmt::print("  wavelet grid         {}\n", format_counts(east, north, depth, "points"));
  }
  fmt::print("  size                 {}\n", describe_size(bytes, counts));
}

/// A compressed matrix of a small survey may exceed the full one.
void hint_at_full_form(const MatrixCounts& counts, double bytes) {
  if (!compression_hardly_saves(bytes, counts)) return;
  fmt::print(stderr,
             "Hint: compression saves hardly anything here, and costs time and accuracy; --wavelet "
             "none\nwrites the full form.\n");
}

/// Of the sums over a survey, or of a plan over its sample.
void print_errors(const BuildSummary& summary, const Observations& data) {
  if (summary.row_errors.empty()) return;
  const RowErrors errors = row_errors(summary);
  fmt::print(
      "  error of the rows    mean {:.3f} %, 95 % of them below {:.3f} %, largest {:.3f} %\n",
      100.0 * errors.mean, 100.0 * errors.p95, 100.0 * errors.largest);
  fmt::print("  error of predicted data, at {} data; the median standard deviation is {:.3g} nT\n",
             summary.tried_rows, median(data.std));
  for (const PredictionError& error : summary.prediction_errors) {
    fmt::print("    {:<19}rms {:.3g} nT, largest {:.3g} nT\n", error.model, error.rms,
               error.largest);
  }
}

/// "12 of 2500 columns, by up to 35 m": the terrain that the top of the mesh cuts off.
std::string describe_cut(const SurveyGround& survey) {
  return fmt::format("{} of {} columns, by up to {:.4g} m", survey.cut.columns,
                     std::int64_t{survey.ground.mesh.ne} * survey.ground.mesh.nn,
                     survey.cut.max_height);
}

void print_gap(const SurveyGround& survey) {
  if (survey.gap) fmt::print("  cells' ground        {}\n", describe_gap(*survey.gap, kNextLine));
}

constexpr const char* kAccuracy =
    "errors of predicted data below a tenth of the median standard deviation";

/// The row error that would be enough, and what it costs.
void print_advice(const Ground& ground, const Observations& data, const ScaleRule& scale,
                  BuildOptions build) {
  if (!build.compressed()) return;
  const std::optional<double> error = advised_row_error(ground, data, scale, build);
  if (!error) return;
  build.rule = {CompressionRule::Kind::relative_error, *error};
  const BuildEstimate estimate = estimate_build(ground, data, scale, build);
  fmt::print("  advice               --error {} (or auto): {},{}{} for an inversion\n", *error,
             describe_size(estimate.file_bytes, estimate.counts), kNextLine,
             format_bytes(inversion_bytes(estimate.counts)));
  fmt::print(
      "                       The largest row error with errors of predicted data below a tenth\n"
      "                       of the median standard deviation.\n");
}

/// The row error of --error auto.
double chosen_error(const Ground& ground, const Observations& data, const ScaleRule& scale,
                    const BuildOptions& build) {
  const std::optional<double> error = advised_row_error(ground, data, scale, build);
  if (!error) {
    stop_run(fmt::format(
        " ERROR: no row error was found with\n {}.\n Give --error, or --wavelet none.", kAccuracy));
  }
  fmt::print("Row error {}: the largest with {}.\n", *error, kAccuracy);
  return *error;
}

void plan(const SurveyGround& survey, const Observations& data, const ScaleRule& scale,
          const BuildOptions& build) {
  const Ground& ground = survey.ground;
  const BuildEstimate estimate = estimate_build(ground, data, scale, build);
  fmt::print("Plan, from {} of the rows; no file is written.\n", estimate.sampled_rows);
  fmt::print("  cells                {} ground cells of {}\n", ground.cells(), ground.mesh.cells());
  if (survey.cut.columns > 0) fmt::print("  terrain cut off      {}\n", describe_cut(survey));
  print_gap(survey);
  fmt::print("  data                 {}\n", data.ndata);
  print_size(ground, estimate.counts, estimate.file_bytes);
  print_errors(estimate.sample, data);
  fmt::print("  memory               {} to compute it, {} for an inversion\n",
             format_bytes(estimate.build_bytes), format_bytes(inversion_bytes(estimate.counts)));
  fmt::print("  time                 about {:.0f} s\n", std::ceil(estimate.seconds));
  print_advice(ground, data, scale, build);
  std::fflush(stdout);
  hint_at_full_form(estimate.counts, estimate.file_bytes);
}

/// The options, the files that were read and what was warned of, for the sidecar.
std::vector<InfoLine> describe_origin(const SensitivityOptions& options, const SurveyGround& survey,
                                      const ScaleRule& scale, const BuildOptions& build,
                                      const std::vector<std::string>& warnings) {
  std::string compression = "none";
  if (build.compressed()) {
    using Kind = CompressionRule::Kind;
    const char* rule = build.rule.kind == Kind::relative_error ? "error"
                       : build.rule.kind == Kind::threshold    ? "threshold"
                                                               : "keep";
    compression = fmt::format("{}, {} {}{}", options.wavelet, rule, build.rule.value,
                              options.choose_error ? " (auto)" : "");
  }
  const GroundSource& ground = options.ground;
  std::vector<InfoLine> lines{
      {"scale_rule",
       fmt::format("{}, exponent {}, offset {} m", options.scale, scale.exponent, scale.offset)},
      {"compression", compression},
      {"mesh_file", ground.mesh},
      {"data_file", options.data},
      {"ground", !ground.topography.empty() ? ground.topography
                 : ground.elevation         ? fmt::format("level at {} m", *ground.elevation)
                                            : "the top of the mesh"},
      {"program", "qvx " QUORIVEX_VERSION}};
  if (!survey.crs.empty()) lines.push_back({kCoordinateSystem, survey.crs});
  if (survey.gap) lines.push_back({kCellsGround, describe_gap(*survey.gap)});
  for (const std::string& warning : warnings) lines.push_back({kWarning, one_line(warning)});
  return lines;
}

void build_file(const SensitivityOptions& options, const SurveyGround& survey,
                const Observations& data, const ScaleRule& scale, const BuildOptions& build,
                const std::vector<std::string>& warnings) {
  const Ground& ground = survey.ground;
  const Clock::time_point start = Clock::now();
  const BuildSummary written =
      write_sensitivity_file(options.output, ground, data, scale, build,
                             describe_origin(options, survey, scale, build, warnings));
  const std::chrono::duration<double> seconds = Clock::now() - start;
  const MatrixCounts counts = counts_of_build(ground, data.ndata, build, written.coefficients);
  const auto bytes = static_cast<double>(written.bytes);
  fmt::print("{}: {} data x {} ground cells\n", options.output, data.ndata, ground.cells());
  print_gap(survey);
  print_size(ground, counts, bytes);
  print_errors(written, data);
  fmt::print("  memory               {} for an inversion\n", format_bytes(inversion_bytes(counts)));
  fmt::print("  time                 {:.1f} s\n", seconds.count());
  std::fflush(stdout);
  hint_at_full_form(counts, bytes);
}

void run(const SensitivityOptions& options) {
  if (options.output.empty() && !options.plan) {
    stop_run(
        " ERROR: --output is missing: the name of the sensitivity file (or --plan, to see its "
        "size).");
  }
  const Observations data = read_data_with_deviations(options.data);
  hint_at_units(data);
  std::vector<std::string> warnings;
  GroundSource source = options.ground;
  source.crs = crs_of_survey(options.crs, options.data);
  const SurveyGround survey = read_ground(source, data, [&warnings](const std::string& sentence) {
    print_warning(sentence);
    warnings.push_back(sentence);
  });
  const ScaleRule scale = scale_rule(options, survey);
  BuildOptions build = build_options(options);
  check_fits_file(survey.ground.mesh, survey.ground.cells(), build.compressed());
  if (options.choose_error && build.compressed()) {
    build.rule.value = chosen_error(survey.ground, data, scale, build);
  }
  if (options.plan) {
    plan(survey, data, scale, build);
    return;
  }
  for (const std::string& output :
       {options.output, sidecar_name(options.output), sidecar_place(options.output)}) {
    refuse_overwriting(output, {options.data, options.ground.mesh, options.ground.topography});
  }
  std::optional<OutputLock> lock;
  if (ranks::is_first()) lock.emplace(options.output);
  build_file(options, survey, data, scale, build, warnings);
}

void add_scale_options(CLI::App& command, SensitivityOptions& o) {
  std::vector<std::string> names;
  for (const auto& [name, kind] : scale_kinds()) names.push_back(name);
  command
      .add_option("--scale", o.scale,
                  "Scale wtz of the cells, which compensates the decay\n"
                  "of the sensitivities: by distance (to all stations),\n"
                  "depth, sensitivity (norm of the column), or none")
      ->type_name(in_braces(names))
      ->check(one_of(names))
      ->capture_default_str();
  command.add_option("--scale-exponent", o.exponent, "Exponent of distance or depth")
      ->type_name("P")
      ->check(number(kMinLength, 100.0))
      ->capture_default_str();
  command
      .add_option("--scale-offset", o.offset,
                  "Metres added to distance or depth [half the smallest\n"
                  "cell width; for depth the median height of the\n"
                  "stations above the terrain, if that is more]")
      ->type_name("M")
      ->check(number(kMinLength, kMaxLength));
}

void add_compression_options(CLI::App& command, SensitivityOptions& o) {
  std::vector<std::string> names = wavelet_names();
  names.insert(names.begin(), "none");
  command
      .add_option("--wavelet", o.wavelet,
                  "Wavelet of the compression: haar, daub4, daub6, daub8,\n"
                  "sym4; or none, for the full form")
      ->type_name(in_braces(names))
      ->check(one_of(names))
      ->capture_default_str();
  using Kind = CompressionRule::Kind;
  const auto rule = [&](const char* name, Kind kind, double min, double max, const char* help) {
    return command
        .add_option_function<double>(
            name,
            [&o, kind](double value) {
              o.rule = {kind, value};
            },
            help)
        ->type_name("X")
        ->check(number(min, max));
  };
  constexpr double kMinShare = 1e-12;
  const CLI::Validator share = number(0.0, 0.9);
  auto* const error = command
                          .add_option_function<std::string>(
                              "--error",
                              [&o](const std::string& text) {
                                o.choose_error = text == "auto";
                                if (!o.choose_error)
                                  o.rule = {Kind::relative_error, to_number(text).value_or(0.0)};
                              },
                              "Relative error of each row: the fewest coefficients\n"
                              "that stay within it are kept [0.01]. auto: the largest\n"
                              "whose error of predicted data stays below a tenth of the\n"
                              "median standard deviation")
                          ->type_name("X")
                          ->check([share](const std::string& text) {
                            return text == "auto" ? std::string() : share(text);
                          });
  auto* const threshold = rule("--threshold", Kind::threshold, 0.0, kMaxLength,
                               "Keep coefficients of at least this magnitude instead\n"
                               "(rows are divided by standard deviations and scale)");
  auto* const keep = rule("--keep", Kind::fraction, kMinShare, 1.0,
                          "Keep this many of the largest coefficients of each row\n"
                          "instead, as a fraction of the number of ground cells");
  error->excludes(threshold)->excludes(keep);
  threshold->excludes(keep);
}

}  // namespace

void add_sensitivity_command(CLI::App& qvx) {
  CLI::App* command =
      qvx.add_subcommand("sensitivity", "Compute the sensitivity file that quorivex needs");
  const auto o = std::make_shared<SensitivityOptions>();
  command->add_option("--mesh", o->ground.mesh, "Text mesh file")->type_name("FILE")->required();
  command->add_option("--data", o->data, "Observations file with standard deviations (nT)")
      ->type_name("FILE")
      ->required();
  add_terrain_options(*command, o->ground);
  add_crs_option(*command, o->crs, "that of --data or of the terrain grid");
  command->add_option("--output", o->output, "Sensitivity file to write")->type_name("FILE");
  command->add_flag("--plan", o->plan,
                    "Estimate size, memory, error and time from a sample of\n"
                    "rows; write nothing");
  add_scale_options(*command, *o);
  add_compression_options(*command, *o);
  add_thread_option(*command);
  command->footer(
      "\nExample:\n"
      "  qvx sensitivity --mesh mesh.txt --data survey.mag --topography terrain.txt \\\n"
      "                  --output survey.mtx");
  command->callback([o] { run(*o); });
}

}  // namespace quorivex
