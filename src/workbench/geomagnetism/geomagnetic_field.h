// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorivex {

/// A place on or above the WGS84 ellipsoid.
struct GeoPosition {
  double longitude = 0.0;  ///< degrees east
  double latitude = 0.0;   ///< degrees north
  double height = 0.0;     ///< metres
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
/// between epochs (Thebault et al. 2015, doi:10.1186/s40623-015-0228-9).
/// @param year  decimal, 1990.5 for the middle of 1990
/// @throws StopRun with the years of the model for one beyond them, or a place that is none
MainField igrf_field(const GeoPosition& place, double year);

/// 1990.5 from "1990.5", 1990.496 from "1990-07-01" (noon counts as the day's end half way).
/// @throws StopRun for any other text
double decimal_year(const std::string& date);

/// A place of a map in Universal Transverse Mercator coordinates on WGS84.
struct MapPlace {
  GeoPosition place;
  double convergence = 0.0;  ///< grid north, degrees clockwise from true north
};

/// @param zone  number and hemisphere, "54S"; as the library has it, N and S are hemispheres
/// @throws StopRun for a zone that is none, and coordinates that cannot be of the zone
MapPlace place_of_utm(const std::string& zone, double easting, double northing);

}  // namespace quorivex
