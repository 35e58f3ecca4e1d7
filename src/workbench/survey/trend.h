// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "workbench/survey/thinning.h"

namespace quorivex {

/// A planar regional field: level + east (E - easting) + north (N - northing).
struct Trend {
  double easting = 0.0;  ///< of the centre, metres
  double northing = 0.0;
  double level = 0.0;  ///< nT, at the centre
  double east = 0.0;   ///< nT/m
  double north = 0.0;

  double at(double e, double n) const {
    return level + east * (e - easting) + north * (n - northing);
  }
};

enum class TrendKind { constant, plane };
enum class TrendFit {
  squares,  ///< least squares
  absolute  ///< least absolute residuals: robust against an anomaly on few of the stations
};

/// Fits a constant or a plane to the stations farther than `beyond` (m) from the centre; a
/// negative number includes all. Absolute residuals: the median for a constant; for a plane,
/// least squares reweighted by 1 / |residual| (Schlossmacher 1973, J. Am. Stat. Assoc. 68).
/// @throws StopRun for too few stations, and for stations on one line, which determine no plane
Trend fit_trend(const Stations& stations, TrendKind kind, TrendFit fit, double easting,
                double northing, double beyond);

void remove_trend(const Trend& trend, Stations& stations);

/// "358.61 nT at 455900 E 7556700 N, 16.862 nT/km eastward and 25.36 nT/km northward", rounded
/// to 0.01 nT and 0.001 nT/km.
std::string describe_trend(const Trend& trend, TrendKind kind);

/// "455900.5 E 7556700 N", to the millimetre.
std::string format_position(double easting, double northing);

}  // namespace quorivex
