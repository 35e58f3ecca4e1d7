// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

#include "base/atomic_file.h"
#include "base/record_writer.h"
#include "base/stop_run.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/sensitivity/run_needs.h"
#include "inversion/sensitivity/wavelet_filters.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/forward/build_sensitivity.h"
#include "workbench/forward/cell_scale.h"
#include "workbench/forward/describe_build.h"

namespace quorivex {
namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  GroundSource ground;
  std::string data;
  std::string output;
  std::string wavelet = "daub4";
  std::string scale = "distance";
  double exponent = 3.0;
  std::optional<double> offset;
  CompressionRule rule;
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

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + length(values) / 2;
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

ScaleRule scale_rule(const Options& options, const SurveyGround& survey) {
  ScaleRule rule{.kind = scale_kinds().at(options.scale), .exponent = options.exponent};
  rule.offset = default_offset(survey.ground);
  // With depth, the offset is to make it about the distance to the stations.
  if (rule.kind == ScaleRule::Kind::depth) {
    rule.offset = std::max(rule.offset, survey.median_height);
  }
  rule.offset = options.offset.value_or(rule.offset);
  return rule;
}

BuildOptions build_options(const Options& options) {
  BuildOptions build{.low_pass = {}, .rule = options.rule};
  if (options.wavelet != "none") build.low_pass = low_pass_filter(options.wavelet);
  return build;
}

void print_size(const Ground& ground, const Observations& data, const BuildOptions& build,
                double coefficients, double bytes) {
  const double full = static_cast<double>(ground.cells()) * data.ndata;
  if (!build.low_pass.empty()) {
    const auto grid = wavelet_grid(ground.mesh);
    fmt::print("  coefficients         {:.0f} ({:.0f} a datum) on a grid of {} x {} x {} points\n",
               coefficients, coefficients / data.ndata, grid[0], grid[1], grid[2]);
  }
  fmt::print("  size                 {}, {:.1f} % of the full form\n", format_bytes(bytes),
             25.0 * bytes / full);
}

void print_errors(const BuildSummary& summary, const Observations& data) {
  if (summary.row_errors.empty()) return;
  const RowErrors errors = row_errors(summary);
  fmt::print(
      "  error of the rows    mean {:.3f} %, 95 % of them below {:.3f} %, largest {:.3f} %\n",
      100.0 * errors.mean, 100.0 * errors.most, 100.0 * errors.largest);
  fmt::print("  error of predicted data, where the median standard deviation is {:.3g} nT\n",
             median(data.std));
  for (const PredictionError& error : summary.prediction_errors) {
    fmt::print("    {:<19}rms {:.3g} nT, largest {:.3g} nT\n", error.model, error.rms,
               error.largest);
  }
}

std::int64_t record_bytes(std::initializer_list<std::string_view> parts) {
  std::int64_t bytes = 8;  // of the frame
  for (const std::string_view part : parts) bytes += length(part);
  return bytes;
}

/// Every so many-th datum.
Observations probe_of(const Observations& data, std::int32_t wanted) {
  Observations probe = data;
  const auto thin = [&](std::vector<double>& values) {
    if (values.empty()) return;
    for (std::int64_t n = 0; n < wanted; ++n) {
      values[as_size(n)] = values[as_size(n * data.ndata / wanted)];
    }
    values.resize(as_size(wanted));
  };
  for (auto* values : {&probe.x, &probe.y, &probe.z, &probe.datum_aincl, &probe.datum_adecl,
                       &probe.obs, &probe.std}) {
    thin(*values);
  }
  probe.ndata = wanted;
  return probe;
}

/// What is left of a build when a few rows of it have been made.
struct Estimate {
  BuildSummary probe;
  double coefficients = 0.0;
  double bytes = 0.0;
  double seconds = 0.0;
};

Estimate estimate(const Ground& ground, const Observations& data, const Observations& probe,
                  const ScaleRule& scale, const BuildOptions& build) {
  const double share = static_cast<double>(data.ndata) / probe.ndata;
  const Clock::time_point start = Clock::now();
  const std::vector<double> wtz = cell_scale(ground, probe, scale);
  const double scale_seconds = seconds_since(start);
  // A build of fewer rows takes the same fixed time; the difference is that of rows alone.
  const Observations few = probe_of(probe, (probe.ndata + 3) / 4);
  const Clock::time_point before_few = Clock::now();
  build_sensitivity(ground, few, wtz, build, [](auto) {});
  const double few_seconds = seconds_since(before_few);
  const Clock::time_point before_probe = Clock::now();
  std::int64_t written = 0;
  Estimate found;
  found.probe = build_sensitivity(ground, probe, wtz, build,
                                  [&](auto parts) { written += record_bytes(parts); });
  const double more_seconds = std::max(seconds_since(before_probe) - few_seconds, 0.0);
  found.seconds = scale_seconds * share + few_seconds +
                  more_seconds / std::max(probe.ndata - few.ndata, 1) * data.ndata;
  found.coefficients = static_cast<double>(found.probe.coefficients) * share;
  const bool full = build.low_pass.empty();
  const double rows = static_cast<double>(found.probe.coefficients) * (full ? 4.0 : 8.0) +
                      probe.ndata * (full ? 8.0 : 12.0);
  found.bytes = static_cast<double>(written) + (share - 1.0) * rows;
  return found;
}

void plan(const Ground& ground, const Observations& data, const ScaleRule& scale,
          const BuildOptions& build) {
  const std::int32_t wanted = std::max(32, 4 * omp_get_max_threads());
  const Observations probe = probe_of(data, std::min(data.ndata, wanted));
  const Estimate found = estimate(ground, data, probe, scale, build);
  const auto cells = static_cast<double>(ground.cells());
  const auto grid =
      build.low_pass.empty() ? std::array<std::int32_t, 3>{} : wavelet_grid(ground.mesh);
  const double points = static_cast<double>(grid[0]) * grid[1] * grid[2];
  const double threads = omp_get_max_threads();
  fmt::print("Plan, from {} of the rows; no file is written.\n", probe.ndata);
  fmt::print("  cells                {} below the ground, of {}\n", ground.cells(),
             ground.mesh.cells());
  fmt::print("  data                 {}\n", data.ndata);
  print_size(ground, data, build, found.coefficients, found.bytes);
  print_errors(found.probe, data);
  fmt::print("  memory               {} to build, {} for the inversion\n",
             format_bytes(threads * (12.0 * cells + 24.0 * points) + 24.0 * points + 40.0 * cells),
             format_bytes(found.bytes + kRunBytesPerCell * cells + 16.0 * points));
  fmt::print("  time                 about {:.0f} s\n", found.seconds);
}

/// What the sidecar says of the options, with the files that were read.
std::vector<InfoLine> choices(const Options& options, const ScaleRule& scale,
                              const BuildOptions& build) {
  std::string compression = "none";
  if (!build.low_pass.empty()) {
    using Kind = CompressionRule::Kind;
    const char* rule = build.rule.kind == Kind::relative_error ? "error"
                       : build.rule.kind == Kind::threshold    ? "threshold"
                                                               : "keep";
    compression = fmt::format("{}, {} {}", options.wavelet, rule, build.rule.value);
  }
  const GroundSource& ground = options.ground;
  return {{"scale_rule", fmt::format("{}, exponent {}, offset {} m", options.scale, scale.exponent,
                                     scale.offset)},
          {"compression", compression},
          {"mesh_file", ground.mesh},
          {"data_file", options.data},
          {"ground", !ground.topography.empty() ? ground.topography
                     : ground.elevation         ? fmt::format("level at {} m", *ground.elevation)
                                                : "the top of the mesh"},
          {"program", "qvx " QUORIVEX_VERSION}};
}

/// Beside a link an older sidecar may lie, of what the link led to before.
void remove_old_sidecar(const std::string& output, const std::string& written) {
  const std::string beside = sidecar_name(output);
  std::error_code error;
  if (beside == written || std::filesystem::equivalent(beside, written, error)) return;
  const auto kind = std::filesystem::symlink_status(beside, error).type();
  using Type = std::filesystem::file_type;
  if (kind == Type::regular || kind == Type::symlink) std::filesystem::remove(beside, error);
}

void write_file(const Options& options, const Ground& ground, const Observations& data,
                const ScaleRule& scale, const BuildOptions& build) {
  const Clock::time_point start = Clock::now();
  std::int64_t bytes = 0;
  AtomicFile file(options.output);
  const std::string info_name = sidecar_place(options.output);
  AtomicFile info(info_name);
  const std::vector<double> wtz = cell_scale(ground, data, scale);
  const BuildSummary summary = build_sensitivity(ground, data, wtz, build, [&](auto parts) {
    write_record(file, parts);
    bytes += record_bytes(parts);
  });
  file.commit();
  Sidecar sidecar = describe_build(ground, data, wtz, build, summary, bytes);
  for (InfoLine& figure : choices(options, scale, build)) sidecar.figures.push_back(figure);
  info.append(sidecar_text(sidecar));
  info.commit();
  remove_old_sidecar(options.output, info_name);
  fmt::print("{}: {} data x {} cells\n", options.output, data.ndata, ground.cells());
  print_size(ground, data, build, static_cast<double>(summary.coefficients),
             static_cast<double>(bytes));
  print_errors(summary, data);
  fmt::print("  time                 {:.1f} s\n", seconds_since(start));
}

void run(const Options& options) {
  if (options.output.empty() && !options.plan) {
    stop_run(
        " ERROR: --output is missing: the name of the sensitivity file (or --plan, to see its "
        "size).");
  }
  const Observations data = read_data_with_deviations(options.data);
  hint_at_units(data);
  const SurveyGround survey = read_ground(options.ground, data);
  const ScaleRule scale = scale_rule(options, survey);
  const BuildOptions build = build_options(options);
  check_fits_file(survey.ground.mesh, survey.ground.cells(), !build.low_pass.empty());
  if (options.plan) {
    plan(survey.ground, data, scale, build);
    return;
  }
  for (const std::string& output :
       {options.output, sidecar_name(options.output), sidecar_place(options.output)}) {
    refuse_overwriting(output, {options.data, options.ground.mesh, options.ground.topography});
  }
  write_file(options, survey.ground, data, scale, build);
}

void add_scale_options(CLI::App& command, Options& o) {
  std::vector<std::string> names;
  for (const auto& [name, kind] : scale_kinds()) names.push_back(name);
  command
      .add_option("--scale", o.scale,
                  "Scale wtz of the cells, which makes up for the decay\n"
                  "of the sensitivities: by distance (to all stations),\n"
                  "depth, sensitivity (norm of the column), or none")
      ->type_name("KIND")
      ->check(CLI::IsMember(names).description(""))
      ->capture_default_str();
  command.add_option("--scale-exponent", o.exponent, "Exponent of distance or depth")
      ->type_name("P")
      ->check(number(kMinLength, 100.0))
      ->capture_default_str();
  command
      .add_option("--scale-offset", o.offset,
                  "Metres added to distance or depth [half the smallest\n"
                  "cell width; for depth the stations' median height\n"
                  "above the ground, where that is more]")
      ->type_name("M")
      ->check(number(kMinLength, kMaxLength));
}

void add_compression_options(CLI::App& command, Options& o) {
  std::vector<std::string> names = wavelet_names();
  names.insert(names.begin(), "none");
  command
      .add_option("--wavelet", o.wavelet,
                  "Wavelet of the compression: haar, daub4, daub6, daub8,\n"
                  "sym4; or none, for the full form")
      ->type_name("NAME")
      ->check(CLI::IsMember(names).description(""))
      ->capture_default_str();
  using Kind = CompressionRule::Kind;
  const auto rule = [&](const char* name, Kind kind, double least, double most, const char* help) {
    return command
        .add_option_function<double>(
            name,
            [&o, kind](double value) {
              o.rule = {kind, value};
            },
            help)
        ->type_name("X")
        ->check(number(least, most));
  };
  constexpr double kMinShare = 1e-12;
  auto* const error = rule("--error", Kind::relative_error, 0.0, 0.9,
                           "Relative error of each row: the fewest coefficients\n"
                           "that stay within it are kept [0.01]");
  auto* const threshold = rule("--threshold", Kind::threshold, 0.0, kMaxLength,
                               "Keep the coefficients of this magnitude or more\n"
                               "instead (rows are divided by standard deviations and\n"
                               "scale)");
  auto* const keep = rule("--keep", Kind::fraction, kMinShare, 1.0,
                          "Keep so many of the largest coefficients of each row\n"
                          "instead, as a fraction of the number of cells");
  error->excludes(threshold)->excludes(keep);
  threshold->excludes(keep);
}

}  // namespace

void add_sensitivity_command(CLI::App& qvx) {
  CLI::App* command = qvx.add_subcommand(
      "sensitivity", "Compute the sensitivity file of a survey, which quorivex needs");
  const auto o = std::make_shared<Options>();
  command->add_option("--mesh", o->ground.mesh, "Text mesh file")->type_name("FILE")->required();
  command->add_option("--data", o->data, "Observations file with standard deviations (nT)")
      ->type_name("FILE")
      ->required();
  add_terrain_options(*command, o->ground);
  command->add_option("--output", o->output, "Sensitivity file to write")->type_name("FILE");
  command->add_flag(
      "--plan", o->plan,
      "Tell cells, data, size, memory, error and time from a few rows; write nothing");
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
