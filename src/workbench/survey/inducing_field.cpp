// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/inducing_field.h"

#include <fmt/format.h>

#include <cmath>

#include "base/statistics.h"
#include "workbench/geomagnetism/igrf_coefficients.h"

namespace quorivex {
namespace {

constexpr double kMaxDegrees = 5.0;  // between a field that is given and that of its place
constexpr double kMaxShare = 0.05;   // likewise, of the strength

/// The position with the convergence of its grid; 0 without a grid.
UtmPosition position_of(const FieldChoice& choice, const Stations& stations,
                        const std::optional<GeoPosition>& mean_position) {
  UtmPosition utm;
  if (!choice.utm_zone.empty()) {
    utm = position_of_utm(choice.utm_zone, mean(stations.easting), mean(stations.northing));
  } else if (choice.at) {
    utm.position = {(*choice.at)[0], (*choice.at)[1], 0.0};
  } else {
    utm.position = mean_position.value();
  }
  utm.position.height = choice.height.value_or(median(stations.elevation));
  return utm;
}

MainField given_field(const FieldChoice& choice) {
  return {choice.inclination.value(), choice.declination.value(), choice.strength.value()};
}

std::string describe_field(const MainField& field) {
  return fmt::format("inclination {:.2f}, declination {:.2f} from true north, {:.0f} nT",
                     field.inclination, field.declination, field.strength);
}

/// Remarks on the main field of the place, and warns of a given field that differs from it.
void compare_with_place(const MainField& given, const MainField& model, const std::string& source,
                        SurveyNotes& notes) {
  notes.remarks.push_back(fmt::format("for comparison: {}, {}", describe_field(model), source));
  for (const std::string& difference : compare_fields(given, model)) {
    notes.warnings.push_back(difference);
  }
}

}  // namespace

std::vector<std::string> compare_fields(const MainField& given, const MainField& model) {
  const auto far = [](double degrees, double other) {
    return std::abs(std::remainder(degrees - other, 360.0)) > kMaxDegrees;
  };
  std::vector<std::string> found;
  if (far(given.inclination, model.inclination)) {
    const bool flipped = !far(-given.inclination, model.inclination);
    found.push_back(fmt::format(
        "the inclination given, {:.2f}, {} {:.2f}, that of the main field at this place and date.",
        given.inclination, flipped ? "has the opposite sign of" : "is far from",
        model.inclination));
    if (flipped) {
      found.back() += "\nIt is positive downward: negative in the southern hemisphere.";
    }
  }
  if (far(given.declination, model.declination)) {
    found.push_back(fmt::format(
        "the declination given, {:.2f} from true north, is far from {:.2f}, that of the main field "
        "at\nthis place and date.",
        given.declination, model.declination));
  }
  if (!(std::abs(given.strength - model.strength) <= kMaxShare * model.strength)) {
    found.push_back(
        fmt::format("the strength given, {:.0f} nT, is far from {:.0f} nT, that of the main field "
                    "at this place and\ndate.",
                    given.strength, model.strength));
  }
  return found;
}

MainField find_inducing_field(const FieldChoice& choice, const Stations& stations,
                              const std::optional<GeoPosition>& mean_position, SurveyNotes& notes) {
  const bool given = choice.strength.has_value();
  const bool dated = !choice.date.empty();
  UtmPosition utm;
  if (dated || !choice.utm_zone.empty()) utm = position_of(choice, stations, mean_position);
  MainField field;
  std::string source = "as given";
  if (dated) {
    const GeoPosition& at = utm.position;
    const SurveyDate date = parse_date(choice.date);
    const std::string place =
        fmt::format("{} at longitude {:.5f}, latitude {:.5f}, height {:.0f} m, {}", igrf().name,
                    at.longitude, at.latitude, at.height, choice.date);
    if (given && has_igrf_field(date)) {
      compare_with_place(given_field(choice), igrf_field(at, date), place, notes);
    } else if (given) {
      notes.remarks.push_back("the field given is not compared: " + describe_igrf_span(date));
    } else {
      field = igrf_field(at, date);
      source = place;
      if (!choice.convergence && choice.utm_zone.empty()) {
        notes.warnings.emplace_back(
            "the declination is that from true north: without --convergence or --utm the grid is "
            "taken\nto have its north there.");
      }
    }
  }
  if (given) field = given_field(choice);
  notes.remarks.push_back(fmt::format("field: {}, {}", describe_field(field), source));
  const double convergence = choice.convergence.value_or(utm.convergence);
  field.declination -= convergence;
  notes.remarks.push_back(
      fmt::format("grid convergence {:.2f}, so the declination from grid north is {:.2f}",
                  convergence, field.declination));
  return field;
}

}  // namespace quorivex
