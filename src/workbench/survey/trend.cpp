// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/trend.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr int kMaxIterations = 500;
constexpr double kFlat = 1e-9;      // pivot below which stations lie on one line
constexpr double kSmallest = 1e-6;  // nT; smaller residuals have the weight of this one
constexpr double kSettled = 1e-7;   // nT; an iteration that changes the plane less is the last

using Plane = std::array<double, 3>;

/// A station in units of the survey's reach, and its field.
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

double median_field(std::vector<Sample> samples) {
  std::sort(samples.begin(), samples.end(),
            [](const Sample& a, const Sample& b) { return a.field < b.field; });
  const std::size_t n = samples.size();
  return 0.5 * (samples[(n - 1) / 2].field + samples[n / 2].field);
}

std::optional<Plane> least_absolute(const std::vector<Sample>& samples) {
  std::optional<Plane> plane = least_squares(samples, 3, [](const Sample&) { return 1.0; });
  for (int iteration = 0; plane && iteration < kMaxIterations; ++iteration) {
    const auto next = least_squares(samples, 3, [&](const Sample& s) {
      return 1.0 / std::max(std::abs(s.field - value_of(*plane, s)), kSmallest);
    });
    if (!next) return plane;  // a few stations outweigh all others, and the plane passes through
    double change = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
      change = std::max(change, std::abs((*next)[i] - (*plane)[i]));
    }
    plane = next;
    if (change < kSettled) break;
  }
  return plane;
}

}  // namespace

Trend fit_trend(const Stations& stations, TrendKind kind, TrendFit fit, double easting,
                double northing, double beyond) {
  double reach = 1.0;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    reach =
        std::max(reach, std::hypot(stations.easting[i] - easting, stations.northing[i] - northing));
  }
  std::vector<Sample> samples;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    const double e = stations.easting[i] - easting;
    const double n = stations.northing[i] - northing;
    if (std::hypot(e, n) > beyond) {
      samples.push_back({{1.0, e / reach, n / reach}, stations.field[i]});
    }
  }
  const std::size_t needed = kind == TrendKind::constant ? 1 : 3;
  if (samples.size() < needed) {
    const std::string where = beyond < 0.0
                                  ? std::string("are there")
                                  : fmt::format("lie farther than {:g} m from {:.10g} E {:.10g} N",
                                                beyond, easting, northing);
    stop_run(fmt::format(" ERROR: a regional field needs {} stations or more; {} {}.", needed,
                         samples.size(), where));
  }
  std::optional<Plane> plane;
  if (kind == TrendKind::constant) {
    plane = fit == TrendFit::absolute
                ? Plane{median_field(samples), 0.0, 0.0}
                : least_squares(samples, 1, [](const Sample&) { return 1.0; });
  } else {
    plane = fit == TrendFit::absolute
                ? least_absolute(samples)
                : least_squares(samples, 3, [](const Sample&) { return 1.0; });
  }
  if (!plane) {
    stop_run(
        " ERROR: the stations lie on one line, which leaves a plane open. Remove a constant "
        "instead.");
  }
  return {easting, northing, (*plane)[0], (*plane)[1] / reach, (*plane)[2] / reach};
}

void remove_trend(const Trend& trend, Stations& stations) {
  for (std::size_t i = 0; i < stations.size(); ++i) {
    stations.field[i] -= trend.at(stations.easting[i], stations.northing[i]);
  }
}

std::string trend_in_words(const Trend& trend, TrendKind kind) {
  if (kind == TrendKind::constant) return fmt::format("{:.10g} nT", trend.level);
  return fmt::format(
      "{:.10g} nT at {:.10g} E {:.10g} N, {:.10g} nT/km eastward and {:.10g} nT/km northward",
      trend.level, trend.easting, trend.northing, trend.east * 1e3, trend.north * 1e3);
}

}  // namespace quorivex
