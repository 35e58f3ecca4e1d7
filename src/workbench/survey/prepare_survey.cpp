// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/prepare_survey.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "base/statistics.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/coordinates/crs.h"
#include "workbench/gdal/crs_definition.h"
#include "workbench/geometry/same_place.h"
#include "workbench/survey/error_remarks.h"
#include "workbench/survey/repeated_stations.h"
#include "workbench/survey/survey_doubts.h"
#include "workbench/terrain/terrain.h"

namespace quorivex {
namespace {

constexpr double kLikeWholeField = 15e3;  // nT; no anomaly has such a median

/// Elevations of stations whose heights above the terrain are known.
std::vector<double> elevations_above(const Terrain& terrain, const SurveyRows& rows,
                                     const std::string& table_name, SurveyNotes& notes) {
  const Stations& stations = rows.stations;
  std::vector<double> elevations;
  std::int64_t outside = 0;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    const double e = stations.easting[i];
    const double n = stations.northing[i];
    const double ground = terrain.elevation(e, n);
    if (!std::isfinite(ground)) {
      stop_run(fmt::format(
          " ERROR: the terrain {} has no elevation at {}, the station of line {} of {}.",
          terrain.name, format_position(e, n), stations.number[i], table_name));
    }
    if (!terrain.covers(e, n)) ++outside;
    elevations.push_back(ground + rows.heights[i]);
  }
  notes.remarks.push_back(fmt::format("elevation: {} above the terrain {} ({})",
                                      rows.elevation_source, terrain.name, terrain.description));
  if (outside > 0) {
    notes.warnings.push_back(
        fmt::format("{} stations lie outside the terrain; below them the ground is that of its "
                    "nearest edge.",
                    outside));
  }
  return elevations;
}

Stations thin(const Stations& stations, const std::vector<std::string>& line_names,
              const ThinningChoice& choice, SurveyNotes& notes) {
  std::string how = "no thinning";
  Stations kept;
  if (choice.spacing > 0.0) {
    kept = select(stations, thin_along_lines(stations, choice.spacing));
    how = fmt::format("nearest to every {:g} m along {} lines", choice.spacing, line_names.size());
    if (line_names.size() == 1 && line_names.front().empty()) {
      notes.warnings.emplace_back(
          "the table names no lines, so that all stations were thinned as one; --line names the "
          "column that tells them apart.");
    }
  } else if (choice.grid > 0.0) {
    kept = select(stations, thin_to_grid(stations, choice.grid, choice.grid_keeps));
    how = fmt::format("{} each {:g} m cell",
                      choice.grid_keeps == GridChoice::median ? "station with the median of"
                                                              : "station nearest to the centre of",
                      choice.grid);
  } else {
    kept = stations;
  }
  notes.remarks.push_back(fmt::format("thinned away: {} ({}); used: {}",
                                      stations.size() - kept.size(), how, kept.size()));
  return kept;
}

double middle_of_range(const std::vector<double>& values) {
  const auto [min, max] = std::minmax_element(values.begin(), values.end());
  return 0.5 * (*min + *max);
}

/// The regional field of a choice that has a kind: as given, or fitted to the stations.
Trend find_trend(const TrendChoice& choice, const Stations& stations) {
  const double e = choice.centre ? (*choice.centre)[0] : middle_of_range(stations.easting);
  const double n = choice.centre ? (*choice.centre)[1] : middle_of_range(stations.northing);
  if (!choice.given) return fit_trend(stations, *choice.kind, choice.fit, e, n, choice.beyond);
  const auto& [level, east, north] = *choice.given;
  return {e, n, level, east * 1e-3, north * 1e-3};
}

std::string describe_fit(const TrendChoice& choice, const Trend& trend) {
  if (choice.given) return "as given";
  std::string fit = choice.fit == TrendFit::absolute ? "least absolute residuals" : "least squares";
  if (choice.beyond < 0.0) return fit;
  return fmt::format("{} of the stations beyond {:g} m from {}", fit, choice.beyond,
                     format_position(trend.easting, trend.northing));
}

void remove_regional_field(const TrendChoice& choice, Stations& stations, SurveyNotes& notes) {
  if (choice.kind) {
    const Trend trend = find_trend(choice, stations);
    remove_trend(trend, stations);
    notes.remarks.push_back(fmt::format(
        "removed: {} {} ({})", *choice.kind == TrendKind::constant ? "constant" : "plane",
        describe_trend(trend, *choice.kind), describe_fit(choice, trend)));
  } else {
    notes.remarks.emplace_back("removed: nothing");
  }
  if (std::abs(median(stations.field)) > kLikeWholeField) {
    notes.warnings.emplace_back(
        "the data look like the whole field of the Earth, not like its anomaly; --remove takes "
        "the\nregional field away.");
  }
}

/// From floor and percentage; where a column has deviations, these are their least values.
std::vector<double> standard_deviations(const Stations& stations, const SurveyChoices& choices,
                                        const std::string& column, SurveyNotes& notes) {
  std::vector<double> deviations;
  deviations.reserve(stations.size());
  for (std::size_t i = 0; i < stations.size(); ++i) {
    const double least = choices.floor + choices.percent / 100.0 * std::abs(stations.field[i]);
    deviations.push_back(column.empty() ? least : std::max(least, stations.deviation[i]));
  }
  const std::string rule =
      fmt::format("{:g} nT + {:g} % of |datum|", choices.floor, choices.percent);
  const bool ruled = choices.floor > 0.0 || choices.percent > 0.0;
  notes.remarks.push_back(fmt::format("standard deviation: {}, {}",
                                      column.empty() ? rule
                                      : ruled        ? column + ", at least " + rule
                                                     : column,
                                      format_range(deviations, "nT", 4)));
  if (const auto doubt = percent_doubt(choices.percent)) notes.warnings.push_back(*doubt);
  return deviations;
}

/// Averages the stations at the same place where that was asked for.
void treat_repeated(bool average, Stations& stations, SurveyNotes& notes) {
  if (!average) return;
  const std::size_t before = stations.size();
  stations = average_repeated(stations);
  notes.remarks.push_back(fmt::format("averaged with an earlier station at the same place: {}",
                                      before - stations.size()));
}

void warn_of_repeated(const Stations& stations, SurveyNotes& notes) {
  const auto repeated = count_repeated(stations.easting, stations.northing, stations.elevation);
  if (repeated == 0) return;
  notes.warnings.push_back(fmt::format(
      "{} of {} stations stand at the place of an earlier one, which thereby weighs more than "
      "others.\n--average-duplicates makes one of those at the same place.",
      repeated, stations.size()));
}

/// The name of each station's line; nothing where the table names none.
std::vector<std::string> names_of_lines(const Stations& stations,
                                        const std::vector<std::string>& names) {
  std::vector<std::string> lines;
  if (names.size() == 1 && names.front().empty()) return lines;
  for (const std::int32_t line : stations.line)
    lines.push_back(names[static_cast<std::size_t>(line)]);
  return lines;
}

/// Whether "54s", "054S" or "54 south" is the zone "54S".
bool same_zone(const std::string& given, const std::string& zone) {
  std::string text = lower_case(given);
  text.erase(0, text.find_first_not_of("0 "));
  std::erase(text, ' ');
  return text.starts_with(lower_case(zone));
}

/// The choice of the field with the UTM zone of the coordinate system, where it is one.
/// @throws StopRun where --utm names another zone, and where no place is named at all
FieldChoice in_crs(FieldChoice choice, const std::string& crs, bool knows_position) {
  const bool wanted = !choice.utm_zone.empty() || !choice.date.empty();
  const auto definition = crs.empty() || !wanted ? std::nullopt : define_crs(crs);
  const std::string zone = definition ? definition->utm_zone : "";
  if (!zone.empty() && !choice.utm_zone.empty() && !same_zone(choice.utm_zone, zone)) {
    stop_run(fmt::format(" ERROR: --utm {}, but the coordinate system {} is {}, zone {}.",
                         choice.utm_zone, crs, definition->name, zone));
  }
  if (!choice.utm_zone.empty() || choice.at || knows_position || choice.date.empty()) return choice;
  if (zone.empty()) {
    stop_run(
        " ERROR: --date needs a place: --utm, --at, --longitude and --latitude, or --crs of a UTM "
        "zone.");
  }
  choice.utm_zone = zone;
  return choice;
}

/// Observations without values, which are returned next to them.
Observations observations_of(const Stations& stations, const MainField& field) {
  Observations o;
  o.ndata = static_cast<std::int32_t>(stations.size());
  o.x = stations.easting;
  o.y = stations.northing;
  o.z = stations.elevation;
  o.incl = o.aincl = field.inclination;
  o.decl = o.adecl = field.declination;
  o.geomag = field.strength;
  return o;
}

PreparedSurvey prepare(SurveyChoices choices) {
  SurveyNotes notes;
  SurveyRows rows = read_survey_table(choices.table, notes);
  refuse_tesla(rows.stations.field);
  if (const auto doubt = coordinate_doubt(rows.stations)) notes.warnings.push_back(*doubt);
  std::string crs = choices.crs;
  if (rows.heights.empty()) {
    notes.remarks.push_back("elevation: " + rows.elevation_source);
  } else {
    const Terrain terrain = read_terrain(choices.terrain);
    rows.stations.elevation = elevations_above(terrain, rows, choices.table.name, notes);
    crs = common_crs({{crs, "--crs"}, {terrain.crs, "the terrain " + terrain.name}});
  }
  const FieldChoice field_choice = in_crs(choices.field, crs, rows.mean_position.has_value());
  if (!crs.empty()) notes.remarks.push_back(crs_remark(crs));
  if (choices.estimate_errors) {
    const bool needed = choices.floor == 0.0 && rows.deviation_source.empty();
    choices.floor =
        floor_by_estimates(rows.stations, rows.line_names, choices.floor, needed, notes);
  }
  treat_repeated(choices.average_repeated, rows.stations, notes);
  Stations stations = thin(rows.stations, rows.line_names, choices.thinning, notes);
  warn_of_repeated(stations, notes);
  remove_regional_field(choices.trend, stations, notes);
  std::vector<double> deviations =
      standard_deviations(stations, choices, rows.deviation_source, notes);
  const MainField field = find_inducing_field(field_choice, stations, rows.mean_position, notes);
  return {observations_of(stations, field),
          std::move(stations.field),
          std::move(deviations),
          names_of_lines(stations, rows.line_names),
          std::move(stations.fiducial),
          std::move(notes)};
}

}  // namespace

PreparedSurvey prepare_survey(const SurveyChoices& choices) {
  try {
    return prepare(choices);
  } catch (const std::bad_alloc&) {
    alloc_error("prepare_survey");
  }
}

}  // namespace quorivex
