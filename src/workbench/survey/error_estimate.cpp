// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/error_estimate.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "base/statistics.h"

namespace quorivex {
namespace {

constexpr std::size_t kPoints = 5;
constexpr double kMaxRatio = 1.5;      // longest to shortest of four steps
constexpr double kMinStraight = 0.9;   // distance of the ends to the path
constexpr double kMaxHeightOff = 5.0;  // m

/// Standard deviation of the normal distribution whose median absolute value this is: values of
/// another kind, up to some, hardly change it (Hampel 1974, J. Am. Stat. Assoc. 69, 383-393).
double robust_deviation(std::vector<double> values) {
  constexpr double kMedianOfNormal = 0.6744897501960817;
  if (values.empty()) return 0.0;
  for (double& value : values) value = std::abs(value);
  return median(std::move(values)) / kMedianOfNormal;
}

/// The fourth divided difference of values at five places x, divided by the root of the sum of its
/// squared weights, so that white noise keeps its standard deviation. Any cubic gives 0. At even
/// spacing the weights are 1 -4 6 -4 1, whose squares add up to 70: differences for the noise of a
/// series are those of von Neumann et al. (1941, Ann. Math. Stat. 12, 153-162), of higher order.
double fourth_difference(const std::array<double, kPoints>& x,
                         const std::array<double, kPoints>& values) {
  double sum = 0.0;
  double squares = 0.0;
  for (std::size_t k = 0; k < kPoints; ++k) {
    double product = 1.0;
    for (std::size_t j = 0; j < kPoints; ++j) {
      if (j != k) product *= x[k] - x[j];
    }
    sum += values[k] / product;
    squares += 1.0 / (product * product);
  }
  return sum / std::sqrt(squares);
}

/// Distances of five stations along their path from the first one, in units of the mean step;
/// nothing where they are unevenly spaced or turn.
std::optional<std::array<double, kPoints>> path_of(const Stations& s, const std::size_t* station) {
  std::array<double, kPoints> x{};
  double shortest = 0.0;
  double longest = 0.0;
  const auto distance = [&](std::size_t from, std::size_t to) {
    return std::hypot(s.easting[station[to]] - s.easting[station[from]],
                      s.northing[station[to]] - s.northing[station[from]]);
  };
  for (std::size_t k = 1; k < kPoints; ++k) {
    const double step = distance(k - 1, k);
    shortest = k == 1 ? step : std::min(shortest, step);
    longest = std::max(longest, step);
    x[k] = x[k - 1] + step;
  }
  const double path = x.back();
  if (!(shortest > 0.0 && longest <= kMaxRatio * shortest)) return {};
  if (!(distance(0, kPoints - 1) >= kMinStraight * path)) return {};
  for (double& place : x) place *= (kPoints - 1) / path;
  return x;
}

}  // namespace

ErrorEstimate error_of_differences(const Stations& stations, const LineStations& lines) {
  ErrorEstimate estimate;
  std::vector<double> differences;
  for (const std::vector<std::size_t>& line : lines) {
    const std::size_t before = differences.size();
    for (std::size_t first = 0; first + kPoints <= line.size(); ++first) {
      const auto x = path_of(stations, &line[first]);
      if (!x) {
        ++estimate.left_out;
        continue;
      }
      std::array<double, kPoints> values{};
      for (std::size_t k = 0; k < kPoints; ++k) values[k] = stations.field[line[first + k]];
      differences.push_back(fourth_difference(*x, values));
    }
    if (differences.size() > before) ++estimate.lines;
  }
  estimate.samples = static_cast<std::int64_t>(differences.size());
  estimate.deviation = robust_deviation(std::move(differences));
  return estimate;
}

ErrorEstimate error_of_crossings(const Stations& stations, const std::vector<Crossing>& crossings) {
  ErrorEstimate estimate;
  std::vector<double> differences;
  std::set<std::int32_t> lines;
  // Of white noise with variance 1 the variance of a value between two stations.
  const auto variance = [](double at) { return at * at + (1.0 - at) * (1.0 - at); };
  for (const auto& [a, b] : crossings) {
    const double off = a.interpolate(stations.elevation) - b.interpolate(stations.elevation);
    if (!(std::abs(off) < kMaxHeightOff)) {
      ++estimate.left_out;
      continue;
    }
    const double difference = a.interpolate(stations.field) - b.interpolate(stations.field);
    differences.push_back(difference / std::sqrt(variance(a.at) + variance(b.at)));
    lines.insert({stations.line[a.from], stations.line[b.from]});
  }
  estimate.lines = static_cast<std::int64_t>(lines.size());
  estimate.samples = static_cast<std::int64_t>(differences.size());
  estimate.deviation = robust_deviation(std::move(differences));
  return estimate;
}

double two_digits_up(double value) {
  const double unit = std::pow(10.0, std::floor(std::log10(value)) - 1.0);
  constexpr double kRounding = 1e-9;  // 2.6 itself may be a little more than 26 units
  return std::stod(fmt::format("{:.2g}", std::ceil(value / unit - kRounding) * unit));
}

}  // namespace quorivex
