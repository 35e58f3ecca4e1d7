// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/output_lock.h"
#include "base/statistics.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/results/line_names.h"
#include "workbench/survey/prepare_survey.h"
#include "workbench/survey/survey_doubts.h"
#include "workbench/tables/delimited_text.h"

namespace quorivex {
namespace {

constexpr double kMaxField = 1e6;  // nT, or percent

constexpr const char* kSurveyHelp = R"(
A column (COL) is given by its name in the header, or by its number from 1; '#3'
is number 3 where a plain number means something else. The header is the first
row, or a comment that holds the names (XYZ files). Lines that begin with #, /,
! or % are comments. Rows such as "Line 100" or "Tie 5" begin a line.

Every row is used, thinned away, or left out because it holds a mark named with
--missing; the report counts them. Any other value that is not a number, or is
out of range, ends the command with a message that names the line; so does a row
with more or fewer columns than the header or the first row, and so do -9999,
-99999 and the like unless they are named as marks, or accepted as numbers with
'--missing none'.

Errors are estimated and duplicates averaged first, if that is wanted; then come
thinning, removal of the regional field and standard deviations. Comments at the
head of OUTPUT say what was done.

The field is given (--inclination, --declination, --strength) or computed from
the International Geomagnetic Reference Field, 1900 to 2030, for --date and a
place: --utm, --at, the mean of --longitude and --latitude, or else the UTM zone
of the coordinate system. Where both are named, the given field is used, and
warnings say where it is far from the other: more than 5 degrees or 5 %.

Examples:
  qvx survey --table flight.csv --easting X --northing Y --elevation Z \
             --field tmi --line line --spacing 50 --missing '*' \
             --remove plane --floor 2 --percent 1 \
             --date 1990-07-01 --utm 54S --output survey.mag
  qvx survey --table ground.xyz --easting 1 --northing 2 --height 2.5 \
             --topography terrain.asc --field 3 --grid 25 --floor 5 \
             --inclination 62 --declination 14 --strength 50500 \
             --output survey.mag
)";

/// The choices, and what the command line gives in another form than they hold it.
struct SurveyOptions {
  SurveyChoices choices;
  std::string separator;
  std::string output;
  std::vector<double> centre;
  std::vector<double> given;
  std::vector<double> at;
};

char separator_of(const std::string& text) {
  static const std::map<std::string, char> kNames{
      {"", 0}, {"comma", ','}, {"semicolon", ';'}, {"tab", '\t'}, {"blank", kBlanks}};
  if (const auto name = kNames.find(text); name != kNames.end()) return name->second;
  if (text.size() == 1 && text != "\"") return text.front();
  stop_run(fmt::format(
      " ERROR: --separator should be comma, semicolon, tab, blank or one character, not {}", text));
}

void check_trend(const TrendChoice& trend, const SurveyOptions& options) {
  if (!trend.kind && (!options.given.empty() || !options.centre.empty() || trend.beyond >= 0.0 ||
                      trend.fit != TrendFit::squares)) {
    stop_run(" ERROR: --given, --centre, --fit and --fit-beyond need --remove constant or plane.");
  }
  const std::size_t numbers = trend.kind == TrendKind::constant ? 1 : 3;
  if (!options.given.empty() && options.given.size() != numbers) {
    stop_run(fmt::format(
        " ERROR: --given should hold {} for --remove {}",
        numbers == 1 ? "the level (nT)" : "level (nT), nT/km eastward and nT/km northward",
        numbers == 1 ? "constant" : "plane"));
  }
}

void check_field(const FieldChoice& field, const SurveyTable& table) {
  const bool all = field.inclination && field.declination && field.strength;
  const bool any = field.inclination || field.declination || field.strength;
  if (any ? !all : field.date.empty()) {
    stop_run(
        " ERROR: the field is --inclination, --declination and --strength, or --date with a place, "
        "or all of\n them, to compare the two.");
  }
  const int places = static_cast<int>(!field.utm_zone.empty()) +
                     static_cast<int>(field.at.has_value()) +
                     static_cast<int>(!table.longitude.empty());
  if (!field.date.empty() && places > 1) {
    stop_run(
        " ERROR: --date needs one place, not several; give --utm, --at, or --longitude and "
        "--latitude.");
  }
}

void check_range(const char* option, const std::vector<double>& values) {
  for (const double value : values) {
    if (!(std::abs(value) <= kMaxLength)) {
      stop_run(fmt::format(" ERROR: {}: {} is out of range.", option, value));
    }
  }
}

SurveyChoices choices_of(const SurveyOptions& options) {
  SurveyChoices choices = options.choices;
  choices.table.separator = separator_of(options.separator);
  check_trend(choices.trend, options);
  check_range("--centre", options.centre);
  check_range("--given", options.given);
  check_range("--at", options.at);
  if (!options.centre.empty()) choices.trend.centre = {options.centre[0], options.centre[1]};
  if (options.given.size() == 1) choices.trend.given = {options.given[0], 0.0, 0.0};
  if (options.given.size() == 3) {
    choices.trend.given = {options.given[0], options.given[1], options.given[2]};
  }
  if (!options.at.empty()) choices.field.at = {options.at[0], options.at[1]};
  check_field(choices.field, choices.table);
  if (choices.floor == 0.0 && choices.table.deviation.empty() && !choices.estimate_errors) {
    stop_run(
        " ERROR: give the standard deviations: --floor and, if wanted, --percent, or --deviation, "
        "or --estimate-errors.");
  }
  choices.table.zero_deviations = choices.floor > 0.0;
  if (choices.table.elevation.empty() == choices.table.height.empty()) {
    stop_run(" ERROR: give either --elevation, or --height with --topography.");
  }
  if (choices.table.height.empty() != choices.terrain.empty()) {
    stop_run(" ERROR: --height and --topography need each other.");
  }
  return choices;
}

void print_range(const char* name, const std::string& range) {
  fmt::print("  {:<10} {}\n", name, range);
}

void run(const SurveyOptions& options) {
  const SurveyChoices choices = choices_of(options);
  refuse_overwriting(options.output, {choices.table.name, choices.terrain});
  const OutputLock lock(options.output);
  const PreparedSurvey survey = prepare_survey(choices);
  const SurveyNotes& notes = survey.notes;
  const Observations& observations = survey.observations;
  const StationLabels labels{survey.lines, survey.fiducials};
  std::vector<std::string> comments{"Written by qvx survey"};
  comments.insert(comments.end(), notes.remarks.begin(), notes.remarks.end());
  if (const std::string names = labels_comment(labels); !names.empty()) comments.push_back(names);
  write_data_file(options.output, observations, survey.values, survey.deviations, comments,
                  labels_of_data(labels));
  for (const std::string& remark : notes.remarks) fmt::print("{}\n", without_controls(remark));
  fmt::print("Written to {}: {} data\n", options.output, observations.ndata);
  print_range("easting", format_coordinates(observations.x));
  print_range("northing", format_coordinates(observations.y));
  print_range("elevation", format_coordinates(observations.z));
  print_range("data", format_range(survey.values, "nT"));
  std::fflush(stdout);
  print_warnings(notes.warnings);
  hint_at_units(observations);
}

void add_table_options(CLI::App& app, SurveyOptions& o) {
  SurveyTable& t = o.choices.table;
  const auto add = [&app](const char* name, std::string& value, const char* type,
                          const char* help) {
    return app.add_option(name, value, help)->type_name(type)->group("Table");
  };
  add("--table", t.name, "FILE", "Table of stations: CSV, XYZ or the like, a row per line")
      ->required();
  add("--easting", t.easting, "COL", "Easting (m)")->required();
  add("--northing", t.northing, "COL", "Northing (m)")->required();
  add("--field", t.field, "COL", "Measured field or its anomaly (nT)")->required();
  add("--elevation", t.elevation, "COL", "Elevation of the sensor (m)");
  add("--height", t.height, "COL|M",
      "Height above the terrain: a column's name ('#4' is\n"
      "column 4), or a number of metres for all stations");
  add("--topography", o.choices.terrain, "FILE",
      "Terrain below the stations: points, one per line, or a\n"
      "grid that GDAL reads: GeoTIFF, ESRI ASCII, netCDF, ERS\n"
      "and others; coordinates in metres");
  add("--line", t.line, "COL",
      "Names of the flight lines [rows such as Line 100]; they\n"
      "follow the values of each datum in the output");
  add("--fiducial", t.fiducial, "COL", "Name of each station, which follows that of its line");
  add("--separator", o.separator, "S",
      "comma, semicolon, tab, blank (one or more blanks or\n"
      "tabs) or one character [guessed from the table]");
  app.add_option("--missing", t.missing,
                 "Mark of a missing value, such as * or -99999; rows that\n"
                 "hold it in a column that is used are left out and\n"
                 "counted. 'empty' is an empty field. May be given several\n"
                 "times")
      ->type_name("MARK")
      ->group("Table")
      ->expected(1)
      ->take_all();
}

CLI::Option* in_data_group(CLI::Option* option, const std::string& type) {
  return option->type_name(type)->group("Data");
}

/// An option that is one of the words, each of which stands for a value.
template <class Value, class Option>
CLI::Option* add_choice(CLI::App& app, const char* name, Option& value,
                        const std::map<std::string, Value>& words, const char* help) {
  std::vector<std::string> known;
  known.reserve(words.size());
  for (const auto& [word, meaning] : words) known.push_back(word);
  const auto find = [=](std::string& text) -> std::string {
    const auto word = words.find(text);
    if (word == words.end()) return not_one_of(known, text);
    text = std::to_string(static_cast<int>(word->second));
    return "";
  };
  return in_data_group(app.add_option(name, value, help), in_braces(known))
      ->transform(CLI::Validator(find, ""));
}

void add_thinning_options(CLI::App& app, SurveyChoices& choices) {
  ThinningChoice& thinning = choices.thinning;
  app.add_flag("--average-duplicates", choices.average_repeated,
               "Make one of the stations at the same place, with the\n"
               "mean of their values and standard deviations")
      ->group("Data");
  auto* const spacing =
      in_data_group(app.add_option("--spacing", thinning.spacing,
                                   "Keep the stations nearest to each multiple of this\n"
                                   "distance along a line"),
                    "M")
          ->check(number(kMinLength, kMaxLength));
  in_data_group(
      app.add_option("--grid", thinning.grid, "Keep one station in each cell of a grid this wide"),
      "M")
      ->check(number(kMinLength, kMaxLength))
      ->excludes(spacing);
  add_choice<GridChoice>(app, "--grid-keeps", thinning.grid_keeps,
                         {{"nearest", GridChoice::nearest}, {"median", GridChoice::median}},
                         "nearest: that nearest to the cell's centre; median: that\n"
                         "with the median of the cell's values [nearest]")
      ->needs("--grid");
}

void add_trend_options(CLI::App& app, SurveyOptions& o) {
  TrendChoice& trend = o.choices.trend;
  add_choice<TrendKind>(app, "--remove", trend.kind,
                        {{"constant", TrendKind::constant}, {"plane", TrendKind::plane}},
                        "Regional field to remove");
  add_choice<TrendFit>(app, "--fit", trend.fit,
                       {{"squares", TrendFit::squares}, {"robust", TrendFit::absolute}},
                       "squares: least squares; robust: least absolute\n"
                       "residuals, which a strong anomaly hardly moves [squares]");
  auto* const beyond =
      in_data_group(app.add_option("--fit-beyond", trend.beyond,
                                   "Fit only stations farther than this from the centre"),
                    "M")
          ->check(number(0.0, kMaxLength));
  in_data_group(app.add_option("--centre", o.centre,
                               "Easting and northing (m) of the centre, where the level\n"
                               "of a plane is stated [middle of the stations]"),
                "E,N")
      ->delimiter(',')
      ->expected(2);
  in_data_group(app.add_option("--given", o.given,
                               "Remove this instead of a fit: nT for a constant; nT at\n"
                               "the centre, nT/km eastward, nT/km northward for a plane"),
                "L[,E,N]")
      ->delimiter(',')
      ->expected(1, 3)
      ->excludes(beyond)
      ->excludes(app.get_option("--fit"));
}

void add_deviation_options(CLI::App& app, SurveyChoices& choices) {
  in_data_group(app.add_option("--deviation", choices.table.deviation,
                               "Standard deviations (nT) from a column; --floor and\n"
                               "--percent are then the least that they may be"),
                "COL");
  in_data_group(app.add_option("--floor", choices.floor, "Standard deviation of a datum of 0 (nT)"),
                "NT")
      ->check(number(1e-6, kMaxField));
  in_data_group(
      app.add_option("--percent", choices.percent, "Percentage of |datum| added to it [0]"), "P")
      ->check(number(0.0, kMaxField));
  app.add_flag("--estimate-errors", choices.estimate_errors,
               "State the standard deviation of the readings, from\n"
               "differences along lines and from their crossings; the\n"
               "larger one is the floor, where neither --floor nor\n"
               "--deviation is given")
      ->group("Data");
}

/// Refuses a strength in another unit than nT, saying what it is in nT.
CLI::Validator in_nanotesla() {
  return {[](const std::string& text) -> std::string {
            const auto value = to_number(text);
            const auto meant = value ? strength_in_nanotesla(*value) : std::nullopt;
            if (!meant) return "";
            return fmt::format("should be nT; {} is perhaps {:.6g} nT", text, *meant);
          },
          ""};
}

void add_field_options(CLI::App& app, SurveyOptions& o) {
  FieldChoice& f = o.choices.field;
  const auto group = [](CLI::Option* option, const char* type) {
    return option->type_name(type)->group("Inducing field");
  };
  group(app.add_option("--inclination", f.inclination, "Degrees, positive downward"), "DEG")
      ->check(number(-90.0, 90.0));
  group(app.add_option("--declination", f.declination, "Degrees clockwise from true north"), "DEG")
      ->check(number(-360.0, 360.0));
  group(app.add_option("--strength", f.strength, "nT"), "NT")
      ->check(in_nanotesla())
      ->check(number(1.0, kMaxField));
  group(app.add_option("--date", f.date,
                       "Compute the field for a day or a year from 1900 to\n"
                       "2030: 2024-05-01 or 2024.33"),
        "DATE");
  group(app.add_option("--utm", f.utm_zone,
                       "Zone and hemisphere of the coordinates, such as 54S (S\n"
                       "for south): gives place and grid convergence"),
        "ZONE");
  group(app.add_option("--at", o.at, "Longitude (east) and latitude of the place, degrees"),
        "LON,LAT")
      ->delimiter(',')
      ->expected(2);
  auto* const longitude = group(
      app.add_option("--longitude", o.choices.table.longitude, "Longitude (degrees): mean is used"),
      "COL");
  auto* const latitude =
      group(app.add_option("--latitude", o.choices.table.latitude, "Latitude (degrees)"), "COL");
  longitude->needs(latitude);
  latitude->needs(longitude);
  group(app.add_option("--height-above-sea", f.height,
                       "Height of the place [median of the elevations]"),
        "M")
      ->check(number(-1e4, 1e6));
  group(app.add_option("--convergence", f.convergence,
                       "Grid north, clockwise from true north; the declination\n"
                       "of the output is counted from it [that of --utm, or 0]"),
        "DEG")
      ->check(number(-180.0, 180.0));
}

}  // namespace

void add_survey_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("survey", "Make an observations file from a table of stations");
  const auto options = std::make_shared<SurveyOptions>();
  add_table_options(*app, *options);
  add_thinning_options(*app, options->choices);
  add_trend_options(*app, *options);
  add_deviation_options(*app, options->choices);
  add_field_options(*app, *options);
  add_crs_option(*app, options->choices.crs, "that of a terrain grid");
  app->add_option("--output", options->output, "Observations file to be written")
      ->type_name("FILE")
      ->required();
  app->footer(kSurveyHelp);
  app->callback([options] { run(*options); });
}

}  // namespace quorivex
