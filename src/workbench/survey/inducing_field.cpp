// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/inducing_field.h"

#include <fmt/format.h>

#include "base/statistics.h"
#include "workbench/geomagnetism/igrf_coefficients.h"

namespace quorivex {
namespace {

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

}  // namespace

MainField find_inducing_field(const FieldChoice& choice, const Stations& stations,
                              const std::optional<GeoPosition>& mean_position, SurveyNotes& notes) {
  MainField field;
  double convergence = choice.convergence.value_or(0.0);
  std::string source = "as given";
  if (choice.date.empty()) {
    field = {choice.inclination.value(), choice.declination.value(), choice.strength.value()};
  } else {
    const UtmPosition utm = position_of(choice, stations, mean_position);
    const GeoPosition& at = utm.position;
    if (!choice.convergence) convergence = utm.convergence;
    field = igrf_field(at, parse_date(choice.date));
    source = fmt::format("{} at longitude {:.5f}, latitude {:.5f}, height {:.0f} m, {}",
                         igrf_name(), at.longitude, at.latitude, at.height, choice.date);
    if (!choice.convergence && choice.utm_zone.empty()) {
      notes.warnings.emplace_back(
          "the declination is that from true north: without --convergence or --utm the grid is "
          "taken\nto have its north there.");
    }
  }
  notes.remarks.push_back(
      fmt::format("field: inclination {:.2f}, declination {:.2f} from true north, {:.0f} nT, {}",
                  field.inclination, field.declination, field.strength, source));
  field.declination -= convergence;
  notes.remarks.push_back(
      fmt::format("grid convergence {:.2f}, so the declination from grid north is {:.2f}",
                  convergence, field.declination));
  return field;
}

}  // namespace quorivex
