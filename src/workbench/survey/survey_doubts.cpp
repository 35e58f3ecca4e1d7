// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/survey_doubts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/stop_run.h"
#include "workbench/survey/station_spacing.h"

namespace quorivex {
namespace {

constexpr double kSmallSurvey = 5.0;           // metres
constexpr double kLargeInKilometres = 2000.0;  // the extent of any survey; beyond it: metres
constexpr double kCloseStations = 0.2;         // metres
constexpr double kLeastField = 1e-4;           // nT; 1e5 nT in tesla
constexpr double kLowPercent = 0.2;

struct Range {
  double min = 0.0;
  double max = 0.0;
  double width() const { return max - min; }
};

Range range_of(const std::vector<double>& values) {
  const auto [min, max] = std::minmax_element(values.begin(), values.end());
  return {*min, *max};
}

}  // namespace

std::optional<std::string> coordinate_doubt(const Stations& s) {
  const Range e = range_of(s.easting);
  const Range n = range_of(s.northing);
  const double extent = std::max(e.width(), n.width());
  if (extent == 0.0 || extent > kLargeInKilometres) return std::nullopt;
  const double spacing = station_spacing(s.easting, s.northing).median;
  if (extent >= kSmallSurvey && spacing >= kCloseStations) return std::nullopt;
  const bool like_degrees =
      extent < kSmallSurvey && std::max(-e.min, e.max) <= 360.0 && std::max(-n.min, n.max) <= 90.0;
  return fmt::format(
      "the stations span {:.3g} x {:.3g} m and are {:.2g} m apart: are the coordinates {}? They "
      "should\nbe metres of a map projection such as UTM.",
      e.width(), n.width(), spacing, like_degrees ? "degrees" : "kilometres");
}

void refuse_tesla(const std::vector<double>& field) {
  double largest = 0.0;
  for (const double value : field) largest = std::max(largest, std::abs(value));
  if (!(largest > 0.0 && largest < kLeastField)) return;
  stop_run(fmt::format(
      " ERROR: the largest value of the field is {:.3g} nT, which looks like tesla. Multiply the\n"
      " column by 1e9.",
      largest));
}

std::optional<std::string> percent_doubt(double percent) {
  if (!(percent > 0.0 && percent <= kLowPercent)) return std::nullopt;
  return fmt::format("--percent {:g} is {:g} % of the datum; five per cent are --percent 5.",
                     percent, percent);
}

std::optional<double> strength_in_nanotesla(double value) {
  constexpr double kWeakest = 2e4;  // nT, of the Earth
  constexpr double kStrongest = 7e4;
  for (const double unit : {1e9, 1e6, 1e5, 1e3}) {
    if (value * unit >= kWeakest && value * unit <= kStrongest) return value * unit;
  }
  return std::nullopt;
}

}  // namespace quorivex
