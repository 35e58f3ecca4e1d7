// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geomagnetism/geomagnetic_field.h"

#include <GeographicLib/Constants.hpp>
#include <GeographicLib/Geocentric.hpp>
#include <GeographicLib/MagneticModel.hpp>
#include <GeographicLib/SphericalHarmonic.hpp>
#include <GeographicLib/UTMUPS.hpp>
#include <GeographicLib/Utility.hpp>
#include <fmt/format.h>

#include <cmath>
#include <vector>

#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/geomagnetism/igrf_coefficients.h"

namespace quorivex {
namespace {

namespace Geo = GeographicLib;

constexpr double kRadius = 6371200.0;  // metres, of the model's sphere

/// Coefficients of a year in the order of the library: by order m, then by degree n from m, the
/// cosines from degree 0 and the sines without order 0.
struct Harmonics {
  std::vector<double> cosine;
  std::vector<double> sine;
};

/// Of a date that the model holds.
Harmonics harmonics(const std::vector<IgrfEpoch>& epochs, double year) {
  std::size_t after = 1;
  while (epochs[after].year < year) ++after;
  const IgrfEpoch& from = epochs[after - 1];
  const IgrfEpoch& to = epochs[after];
  const double share = (year - from.year) / (to.year - from.year);
  const auto coefficient = [&](std::size_t k) {
    return std::lerp(from.coefficients[k], to.coefficients[k], share);
  };
  Harmonics h;
  for (std::size_t m = 0; m <= kIgrfDegree; ++m) {
    for (std::size_t n = m; n <= kIgrfDegree; ++n) {
      const std::size_t before = n * n - 1;  // coefficients of lower degrees
      if (m == 0) {
        h.cosine.push_back(n == 0 ? 0.0 : coefficient(before));
      } else {
        h.cosine.push_back(coefficient(before + 2 * m - 1));
        h.sine.push_back(coefficient(before + 2 * m));
      }
    }
  }
  return h;
}

}  // namespace

bool has_igrf_field(const SurveyDate& date) {
  const std::vector<IgrfEpoch>& epochs = igrf().epochs;
  return date.year >= epochs.front().year && date.year <= epochs.back().year;
}

std::string describe_igrf_span(const SurveyDate& date) {
  const std::vector<IgrfEpoch>& epochs = igrf().epochs;
  return fmt::format("{} holds the field of the years {} to {} (its start), not of {}", igrf().name,
                     epochs.front().year, epochs.back().year, date.text);
}

MainField igrf_field(const GeoPosition& position, const SurveyDate& date) {
  if (!(std::abs(position.latitude) <= 90.0 && std::abs(position.longitude) <= 360.0)) {
    stop_run(fmt::format(" ERROR: longitude {} and latitude {} are not a position on Earth.",
                         position.longitude, position.latitude));
  }
  if (!has_igrf_field(date)) {
    stop_run(fmt::format(" ERROR: {}. Give\n --inclination, --declination and --strength instead.",
                         describe_igrf_span(date)));
  }
  const Harmonics h = harmonics(igrf().epochs, date.year);
  const Geo::SphericalHarmonic potential(h.cosine, h.sine, static_cast<int>(kIgrfDegree), kRadius,
                                         Geo::SphericalHarmonic::SCHMIDT);
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  std::vector<double> axes(9);  // columns: east, north and up
  Geo::Geocentric::WGS84().Forward(position.latitude, position.longitude, position.height, x, y, z,
                                   axes);
  double gx = 0.0;
  double gy = 0.0;
  double gz = 0.0;
  potential(x, y, z, gx, gy, gz);
  const auto along = [&](std::size_t axis) {
    return -kRadius * (axes[axis] * gx + axes[axis + 3] * gy + axes[axis + 6] * gz);
  };
  MainField field;
  double horizontal = 0.0;
  Geo::MagneticModel::FieldComponents(along(0), along(1), along(2), horizontal, field.strength,
                                      field.declination, field.inclination);
  return field;
}

SurveyDate parse_date(const std::string& text) {
  if (const auto year = to_number(text); year && *year >= 1000.0 && *year < 10000.0) {
    return {*year, text};
  }
  try {
    if (text.find('-') != std::string::npos) {
      return {Geo::Utility::fractionalyear<double>(text), text};
    }
  } catch (const std::exception&) {  // the refusal below says more
  }
  stop_run(
      fmt::format(" ERROR: the date should be a year such as 1990.5 or a day such as "
                  "1990-07-01, not {}",
                  text));
}

UtmPosition position_of_utm(const std::string& zone, double easting, double northing) {
  UtmPosition utm;
  try {
    int number = 0;
    bool north = true;
    double scale = 0.0;
    Geo::UTMUPS::DecodeZone(zone, number, north);
    if (number < 1) throw Geo::GeographicErr("zones have numbers from 1 to 60, and N or S");
    Geo::UTMUPS::Reverse(number, north, easting, northing, utm.position.latitude,
                         utm.position.longitude, utm.convergence, scale);
  } catch (const Geo::GeographicErr& error) {
    stop_run(fmt::format(" ERROR: {:.10g} E {:.10g} N cannot be UTM coordinates of zone {}: {}",
                         easting, northing, zone, error.what()));
  }
  return utm;
}

}  // namespace quorivex
