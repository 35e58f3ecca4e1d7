// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/stop_run.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/options.h"
#include "workbench/commands/survey_inputs.h"
#include "workbench/survey/prepare_survey.h"
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
--missing; the report counts them. Anything else that is no number, or out of
range, ends the command with its line, and so does a row with more or fewer
columns than the header or the first row; so does -9999, -99999 and the like
unless it is named, or taken as a number with '--missing none'.

Thinning comes first, then the regional field is removed, then the standard
deviations are found. What was done stands in comments at the head of OUTPUT.

The field is given (--inclination, --declination, --strength) or computed from
the International Geomagnetic Reference Field for --date and a place: --utm,
--at, or the mean of --longitude and --latitude.

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

/// What the command line holds beside the choices, as it holds it.
struct Options {
  SurveyChoices choices;
  std::string separator;
  std::string output;
  std::vector<double> centre;
  std::vector<double> given;
  std::vector<double> at;
};

char separator_of(const std::string& text) {
  static const std::map<std::string, char> kWords{
      {"", 0}, {"comma", ','}, {"semicolon", ';'}, {"tab", '\t'}, {"blank", kBlanks}};
  if (const auto word = kWords.find(text); word != kWords.end()) return word->second;
  if (text.size() == 1 && text != "\"") return text.front();
  stop_run(fmt::format(
      " ERROR: --separator should be comma, semicolon, tab, blank or one character, not {}", text));
}

void check_trend(const TrendChoice& trend, const Options& options) {
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
  if (field.date.empty() ? !all : any) {
    stop_run(
        " ERROR: the field is either --inclination, --declination and --strength, or --date with "
        "a place.");
  }
  const int places = static_cast<int>(!field.utm_zone.empty()) +
                     static_cast<int>(field.at.has_value()) +
                     static_cast<int>(!table.longitude.empty());
  if (!field.date.empty() && places != 1) {
    stop_run(" ERROR: --date needs one place: --utm, --at, or --longitude and --latitude.");
  }
}

SurveyChoices choices_of(const Options& options) {
  SurveyChoices choices = options.choices;
  choices.table.separator = separator_of(options.separator);
  check_trend(choices.trend, options);
  const auto finite = [](const char* option, const std::vector<double>& values) {
    for (const double value : values) {
      if (!(std::abs(value) <= kMaxLength)) {
        stop_run(fmt::format(" ERROR: {}: {} is out of range.", option, value));
      }
    }
  };
  finite("--centre", options.centre);
  finite("--given", options.given);
  finite("--at", options.at);
  if (!options.centre.empty()) choices.trend.centre = {options.centre[0], options.centre[1]};
  if (options.given.size() == 1) choices.trend.given = {options.given[0], 0.0, 0.0};
  if (options.given.size() == 3) {
    choices.trend.given = {options.given[0], options.given[1], options.given[2]};
  }
  if (!options.at.empty()) choices.field.at = {options.at[0], options.at[1]};
  check_field(choices.field, choices.table);
  if (choices.table.elevation.empty() == choices.table.height.empty()) {
    stop_run(" ERROR: give either --elevation, or --height with --topography.");
  }
  if (choices.table.height.empty() != choices.terrain.empty()) {
    stop_run(" ERROR: --height and --topography need each other.");
  }
  return choices;
}

void run(const Options& options) {
  const SurveyChoices choices = choices_of(options);
  refuse_overwriting(options.output, {choices.table.name, choices.terrain});
  const PreparedSurvey survey = prepare_survey(choices);
  std::vector<std::string> comments{"Written by qvx survey"};
  comments.insert(comments.end(), survey.remarks.begin(), survey.remarks.end());
  write_data_file(options.output, survey.observations, survey.values, survey.deviations, comments);
  for (const std::string& remark : survey.remarks) fmt::print("{}\n", remark);
  const auto axis = [](const char* name, const std::vector<double>& values, const char* unit) {
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    fmt::print("  {:<10} {:.10g} to {:.10g} {}\n", name, *least, *most, unit);
  };
  fmt::print("Written to {}: {} data\n", options.output, survey.observations.ndata);
  axis("easting", survey.observations.x, "m");
  axis("northing", survey.observations.y, "m");
  axis("elevation", survey.observations.z, "m");
  axis("data", survey.values, "nT");
  std::fflush(stdout);
  for (const std::string& warning : survey.warnings) fmt::print(stderr, "Warning: {}\n", warning);
  hint_at_units(survey.observations);
}

void add_table_options(CLI::App& app, Options& o) {
  SurveyTable& t = o.choices.table;
  const auto add = [&app](const char* name, std::string& value, const char* type,
                          const char* help) {
    return app.add_option(name, value, help)->type_name(type)->group("Table");
  };
  add("--table", t.name, "FILE", "Table of stations: CSV, XYZ or the like, a row a line")
      ->required();
  add("--easting", t.easting, "COL", "Easting (m)")->required();
  add("--northing", t.northing, "COL", "Northing (m)")->required();
  add("--field", t.field, "COL", "Measured field or its anomaly (nT)")->required();
  add("--elevation", t.elevation, "COL", "Elevation of the sensor (m)");
  add("--height", t.height, "COL|M",
      "Height above the terrain: a column's name ('#4' is\n"
      "column 4), or a number of metres for all stations");
  add("--topography", o.choices.terrain, "FILE",
      "Terrain below the stations: a topography file, an ESRI\n"
      "ASCII grid (begins with ncols), or a netCDF grid of GMT,\n"
      "GDAL or QGIS; coordinates and elevations in metres");
  add("--line", t.line, "COL", "Names of the flight lines [rows such as Line 100]");
  add("--separator", o.separator, "S",
      "comma, semicolon, tab, blank (one or more blanks or\n"
      "tabs) or one character [found in the table]");
  app.add_option("--missing", t.missing,
                 "Mark of a missing value, such as * or -99999; rows that\n"
                 "hold it in a column of use are left out and counted.\n"
                 "'empty' is an empty field. May be given several times")
      ->type_name("MARK")
      ->group("Table")
      ->expected(1)
      ->take_all();
}

void add_data_options(CLI::App& app, Options& o) {
  SurveyChoices& c = o.choices;
  const auto group = [](CLI::Option* option, const char* type) {
    return option->type_name(type)->group("Data");
  };
  auto* const spacing = group(app.add_option("--spacing", c.spacing,
                                             "Keep the stations nearest to each multiple of this\n"
                                             "distance along a line"),
                              "M")
                            ->check(number(kMinLength, kMaxLength));
  group(app.add_option("--grid", c.grid, "Keep one station in each cell of a grid this wide"), "M")
      ->check(number(kMinLength, kMaxLength))
      ->excludes(spacing);
  group(app.add_option("--grid-keeps", c.grid_choice,
                       "nearest: that nearest to the cell's centre; median: that\n"
                       "with the median of the cell's values [nearest]"),
        "WORD")
      ->transform(CLI::CheckedTransformer(
                      std::map<std::string, GridChoice>{{"nearest", GridChoice::nearest},
                                                        {"median", GridChoice::median}})
                      .description(""))
      ->needs("--grid");
  group(app.add_option("--remove", c.trend.kind, "Regional field to remove: constant or plane"),
        "WORD")
      ->transform(CLI::CheckedTransformer(
                      std::map<std::string, TrendKind>{{"constant", TrendKind::constant},
                                                       {"plane", TrendKind::plane}})
                      .description(""));
  group(app.add_option("--fit", c.trend.fit,
                       "squares: least squares; robust: least absolute\n"
                       "residuals, which a strong anomaly hardly moves [squares]"),
        "WORD")
      ->transform(
          CLI::CheckedTransformer(std::map<std::string, TrendFit>{{"squares", TrendFit::squares},
                                                                  {"robust", TrendFit::absolute}})
              .description(""));
  auto* const beyond = group(app.add_option("--fit-beyond", c.trend.beyond,
                                            "Fit only stations farther than this from the centre"),
                             "M")
                           ->check(number(0.0, kMaxLength));
  group(app.add_option("--centre", o.centre,
                       "Easting and northing (m) of the centre, where the level\n"
                       "of a plane is told [middle of the stations]"),
        "E,N")
      ->delimiter(',')
      ->expected(2);
  group(app.add_option("--given", o.given,
                       "Remove this instead of a fit: nT for a constant; nT at\n"
                       "the centre, nT/km eastward, nT/km northward for a plane"),
        "L[,E,N]")
      ->delimiter(',')
      ->expected(1, 3)
      ->excludes(beyond)
      ->excludes(app.get_option("--fit"));
  group(app.add_option("--floor", c.floor, "Standard deviation of a datum of 0 (nT)"), "NT")
      ->required()
      ->check(number(1e-6, kMaxField));
  group(app.add_option("--percent", c.percent, "Percentage of |datum| added to it [0]"), "P")
      ->check(number(0.0, kMaxField));
}

void add_field_options(CLI::App& app, Options& o) {
  FieldChoice& f = o.choices.field;
  const auto group = [](CLI::Option* option, const char* type) {
    return option->type_name(type)->group("Inducing field");
  };
  group(app.add_option("--inclination", f.inclination, "Degrees, positive downward"), "DEG")
      ->check(number(-90.0, 90.0));
  group(app.add_option("--declination", f.declination, "Degrees clockwise from true north"), "DEG")
      ->check(number(-360.0, 360.0));
  group(app.add_option("--strength", f.strength, "nT"), "NT")->check(number(1.0, kMaxField));
  group(app.add_option("--date", f.date,
                       "Compute the field for a day or a year: 1990-07-01 or\n"
                       "1990.5"),
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
                       "Grid north, clockwise from true north; the declination of\n"
                       "the output is counted from it [that of --utm, or 0]"),
        "DEG")
      ->check(number(-180.0, 180.0));
}

}  // namespace

void add_survey_command(CLI::App& qvx) {
  auto* app = qvx.add_subcommand("survey", "Make an observations file from a table of stations");
  const auto options = std::make_shared<Options>();
  add_table_options(*app, *options);
  add_data_options(*app, *options);
  add_field_options(*app, *options);
  app->add_option("--output", options->output, "Observations file to be written")
      ->type_name("FILE")
      ->required();
  app->footer(kSurveyHelp);
  app->callback([options] { run(*options); });
}

}  // namespace quorivex
