// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorivex {

/// A position on or above the WGS84 ellipsoid.
struct GeoPosition {
  double longitude = 0.0;  ///< degrees east
  double latitude = 0.0;   ///< degrees north
  double height = 0.0;     ///< metres
};

/// The date of a survey, as a decimal year and as the user gave it.
struct SurveyDate {
  double year = 0.0;  ///< 1990.5 is the middle of 1990
  std::string text;
};

/// Directions in degrees, strength in nT.
struct MainField {
  double inclination = 0.0;  ///< positive downward
  double declination = 0.0;  ///< clockwise from true north
  double strength = 0.0;
};

/// The main field of the International Geomagnetic Reference Field: the gradient of
///
///     V = a sum (a/r)^(n+1) (g cos(m lon) + h sin(m lon)) P_n^m(cos(colatitude)),  a = 6371.2 km,
///
/// with Schmidt semi-normalised functions to degree 13 and coefficients that change linearly
/// between epochs (Alken et al. 2021, doi:10.1186/s40623-020-01288-x).
/// @throws StopRun for a date outside the years of the model, and for an invalid position
MainField igrf_field(const GeoPosition& position, const SurveyDate& date);

/// Whether the model holds the field of that date.
bool has_igrf_field(const SurveyDate& date);

/// A phrase for a date that it does not hold: "IGRF-14 holds the field of the years 1900 to 2030
/// ..., not of 2035-06-01", with the date as the user gave it.
std::string describe_igrf_span(const SurveyDate& date);

/// The date of "1990.5", or of "1990-07-01": the start of that day, 1990 + 181/365.
/// @throws StopRun for any other text
SurveyDate parse_date(const std::string& text);

/// A point of a map in Universal Transverse Mercator coordinates on WGS84.
struct UtmPosition {
  GeoPosition position;
  double convergence = 0.0;  ///< grid north, degrees clockwise from true north
};

/// @param zone  number and hemisphere, "54S": N and S are hemispheres, not latitude bands
/// @throws StopRun for an invalid zone, and for coordinates outside the zone
UtmPosition position_of_utm(const std::string& zone, double easting, double northing);

}  // namespace quorivex
