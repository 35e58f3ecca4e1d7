// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/trend.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "base/statistics.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr int kMaxIterations = 500;
constexpr double kFlat = 1e-9;         // pivot below which stations lie on one line
constexpr double kMinResidual = 1e-6;  // nT; smaller residuals have the weight of this one
constexpr double kSettled = 1e-7;      // nT; an iteration that changes the plane less is the last

using Plane = std::array<double, 3>;

/// A station's position in units of the survey's reach, and its field.
struct Sample {
  Plane basis;  // 1, eastward, northward
  double field;
};

double value_of(const Plane& plane, const Sample& s) {
  return plane[0] * s.basis[0] + plane[1] * s.basis[1] + plane[2] * s.basis[2];
}

/// The first `unknowns` coefficients of the plane with least weighted squares; nothing when the
/// stations do not determine them.
template <class Weight>
std::optional<Plane> least_squares(const std::vector<Sample>& samples, std::size_t unknowns,
                                   const Weight& weight) {
  std::array<std::array<double, 4>, 3> rows{};  // normal equations with their right-hand side
  double weights = 0.0;
  for (const Sample& s : samples) {
    const double w = weight(s);
    weights += w;
    for (std::size_t i = 0; i < unknowns; ++i) {
      for (std::size_t j = 0; j < unknowns; ++j) rows[i][j] += w * s.basis[i] * s.basis[j];
      rows[i][3] += w * s.basis[i] * s.field;
    }
  }
  for (std::size_t i = 0; i < unknowns; ++i) {
    if (!(rows[i][i] > kFlat * weights)) return std::nullopt;
    for (std::size_t k = 0; k < unknowns; ++k) {
      if (k == i) continue;
      const double factor = rows[k][i] / rows[i][i];
      for (std::size_t j = 0; j < 4; ++j) rows[k][j] -= factor * rows[i][j];
    }
  }
  Plane plane{};
  for (std::size_t i = 0; i < unknowns; ++i) plane[i] = rows[i][3] / rows[i][i];
  return plane;
}

double median_field(const std::vector<Sample>& samples) {
  std::vector<double> fields;
  fields.reserve(samples.size());
  for (const Sample& s : samples) fields.push_back(s.field);
  return median(std::move(fields));
}

/// As least_squares, of all stations alike.
std::optional<Plane> unweighted(const std::vector<Sample>& samples, std::size_t unknowns) {
  return least_squares(samples, unknowns, [](const Sample&) { return 1.0; });
}

std::optional<Plane> least_absolute(const std::vector<Sample>& samples) {
  std::optional<Plane> plane = unweighted(samples, 3);
  for (int iteration = 0; plane && iteration < kMaxIterations; ++iteration) {
    const auto next = least_squares(samples, 3, [&](const Sample& s) {
      return 1.0 / std::max(std::abs(s.field - value_of(*plane, s)), kMinResidual);
    });
    if (!next) return plane;  // a few stations, which the plane passes through, outweigh all others
    double change = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
      change = std::max(change, std::abs((*next)[i] - (*plane)[i]));
    }
    plane = next;
    if (change < kSettled) break;
  }
  return plane;
}

/// The stations farther than `beyond` from the centre, in units of `reach` from it.
std::vector<Sample> samples_beyond(const Stations& stations, double easting, double northing,
                                   double beyond, double reach) {
  std::vector<Sample> samples;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    const double e = stations.easting[i] - easting;
    const double n = stations.northing[i] - northing;
    if (std::hypot(e, n) > beyond) {
      samples.push_back({{1.0, e / reach, n / reach}, stations.field[i]});
    }
  }
  return samples;
}

/// To a whole number of parts of a unit, and never -0.
double rounded(double value, double parts) { return std::round(value * parts) / parts + 0.0; }

std::optional<Plane> fit_plane(const std::vector<Sample>& samples, TrendKind kind, TrendFit fit) {
  if (kind == TrendKind::plane) {
    return fit == TrendFit::absolute ? least_absolute(samples) : unweighted(samples, 3);
  }
  return fit == TrendFit::absolute ? Plane{median_field(samples), 0.0, 0.0}
                                   : unweighted(samples, 1);
}

}  // namespace

Trend fit_trend(const Stations& stations, TrendKind kind, TrendFit fit, double easting,
                double northing, double beyond) {
  double reach = 1.0;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    reach =
        std::max(reach, std::hypot(stations.easting[i] - easting, stations.northing[i] - northing));
  }
  const std::vector<Sample> samples = samples_beyond(stations, easting, northing, beyond, reach);
  const std::size_t needed = kind == TrendKind::constant ? 1 : 3;
  if (samples.size() < needed) {
    const std::string where = beyond < 0.0 ? "are there"
                                           : fmt::format("lie farther than {:g} m from {}", beyond,
                                                         format_position(easting, northing));
    stop_run(fmt::format(" ERROR: a regional field needs {} stations or more; {} {}.", needed,
                         samples.size(), where));
  }
  const std::optional<Plane> plane = fit_plane(samples, kind, fit);
  if (!plane) {
    stop_run(
        " ERROR: the stations lie on one line, which does not determine a plane. Remove a constant "
        "instead.");
  }
  return {easting, northing, (*plane)[0], (*plane)[1] / reach, (*plane)[2] / reach};
}

void remove_trend(const Trend& trend, Stations& stations) {
  for (std::size_t i = 0; i < stations.size(); ++i) {
    stations.field[i] -= trend.at(stations.easting[i], stations.northing[i]);
  }
}

std::string describe_trend(const Trend& trend, TrendKind kind) {
  const double level = rounded(trend.level, 100.0);
  if (kind == TrendKind::constant) return fmt::format("{} nT", level);
  return fmt::format("{} nT at {}, {} nT/km eastward and {} nT/km northward", level,
                     format_position(trend.easting, trend.northing),
                     rounded(trend.east * 1e3, 1000.0), rounded(trend.north * 1e3, 1000.0));
}

std::string format_position(double easting, double northing) {
  return fmt::format("{} E {} N", rounded(easting, 1000.0), rounded(northing, 1000.0));
}

}  // namespace quorivex
