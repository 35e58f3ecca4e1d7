// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/survey_inputs.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/threads.h"
#include "workbench/check/observation_notes.h"
#include "workbench/check/survey_checks.h"
#include "workbench/commands/options.h"
#include "workbench/forward/station_checks.h"

namespace quorivex {
namespace {

constexpr int kMaxThreads = 999;

void print_notes(const std::string& name, const Observations& data) {
  const ObservationNotes found = observation_notes(name, data);
  for (const std::string& note : found.notes)
    fmt::print(stderr, "Note: {}\n", without_controls(note));
  print_warnings(found.warnings);
}

}  // namespace

void add_terrain_options(CLI::App& command, GroundSource& source, const std::string& without) {
  auto* const terrain = command
                            .add_option("--topography", source.topography,
                                        "Terrain: points, one per line (easting, northing,\n"
                                        "elevation in metres; the number of points or a heading\n"
                                        "may come first), or a grid that GDAL reads: GeoTIFF,\n"
                                        "ESRI ASCII, netCDF, ERS and others.\n"
                                        "Without it and --elevation\n" +
                                            without)
                            ->type_name("FILE");
  command.add_option("--elevation", source.elevation, "Elevation of a level ground")
      ->type_name("Z")
      ->check(number(-kMaxLength, kMaxLength))
      ->excludes(terrain);
}

void start_threads(int wanted) {
  const std::string fewer = use_threads(std::min(wanted, kMaxThreads));
  if (!fewer.empty()) print_warning(fewer);
}

void add_thread_option(CLI::App& command) {
  command
      .add_option_function<int>("--threads", start_threads,
                                "Number of threads; all cores without it")
      ->type_name("N")
      ->check(whole_number(1, kMaxThreads));
}

CrsSource crs_of_survey(const std::string& option, const std::string& observations_file) {
  const std::string crs = crs_of_observations(observations_file);
  return {common_crs({{option, "--crs"}, {crs, observations_file}}),
          option.empty() ? observations_file : "--crs"};
}

void print_warning(const std::string& sentence) {
  std::fflush(stdout);  // warnings follow what they are about
  fmt::print(stderr, "Warning: {}\n", without_controls(sentence));
}

void print_warnings(const std::vector<std::string>& sentences) {
  for (const std::string& sentence : sentences) print_warning(sentence);
}

SurveyGround read_ground(const GroundSource& source, const Observations& observations,
                         const Warn& warn) {
  check_coordinates(observations);
  SurveyGround survey = read_survey_ground(source, observations, warn);
  for (const auto& warnings : {station_warnings(observations, survey.ground.mesh, survey.heights),
                               edge_warnings(observations, survey.ground)}) {
    for (const std::string& warning : warnings) warn(warning);
  }
  return survey;
}

Observations read_observations(const std::string& name) {
  Observations data = read_data_file(name, DataColumns::as_found);
  print_notes(name, data);
  return data;
}

Observations read_data_with_deviations(const std::string& name,
                                       std::optional<std::int32_t> ndata_expected) {
  Observations data = read_data_file(name, DataColumns::as_found, ndata_expected);
  if (data.std.empty()) {
    stop_run(fmt::format(
        " ERROR: {} holds no standard deviations, and each row of the matrix is divided by one.\n"
        " Each line of a datum should hold easting, northing, elevation (m), {}value and\n"
        " standard deviation (nT).",
        name, data.idir == 1 ? "" : "inclination, declination, "));
  }
  print_notes(name, data);
  return data;
}

void hint_at_units(const Observations& observations) {
  for (const std::string& hint : unit_hints(observations)) fmt::print(stderr, "Hint: {}\n", hint);
}

void refuse_overwriting(const std::string& output, std::initializer_list<std::string> inputs) {
  for (const std::string& input : inputs) {
    std::error_code missing;
    if (std::filesystem::equivalent(input, output, missing)) {
      stop_run(fmt::format(" ERROR: the output {} would replace a file that is read.", output));
    }
  }
}

}  // namespace quorivex
