// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/survey_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/statistics.h"

namespace quorivex {
namespace {

constexpr double kMinField = 20000.0;  // nT, of the Earth
constexpr double kMaxField = 70000.0;
constexpr double kTesla = 1e-3;     // fields and data below are rather tesla than nT
constexpr double kMinShare = 1e-3;  // of the data's range, for a standard deviation

std::vector<double> in_nanotesla(const Observations& o) {
  std::vector<double> values(o.obs);
  for (std::size_t i = 0; i < values.size(); ++i) values[i] *= o.std[i];
  return values;
}

double largest_magnitude(const std::vector<double>& values) {
  double largest = 0.0;
  for (const double value : values) largest = std::max(largest, std::abs(value));
  return largest;
}

std::string angles(double inclination, double declination) {
  return fmt::format("inclination {}, declination {} degrees", inclination, declination);
}

/// Where on Earth the field points so.
const char* describe_inclination(double degrees) {
  return degrees > 0.0   ? "down, northern hemisphere"
         : degrees < 0.0 ? "up, southern hemisphere"
                         : "level, magnetic equator";
}

void check_directions(const Observations& o, Findings& findings) {
  const bool same = o.idir == 1 && o.aincl == o.incl && o.adecl == o.decl;
  Findings::fact("anomaly along", o.idir == 0 ? "a direction of its own for each datum"
                                  : same      ? "the field"
                                              : angles(o.aincl, o.adecl));
  if (o.idir == 1 && !same) {
    Findings::note(
        "the anomaly has another direction than the field, which is right for measured components\n"
        "of the field, and wrong for total-field data");
  }
  if (std::abs(o.incl) > 90.0 || (o.idir == 1 && std::abs(o.aincl) > 90.0)) {
    findings.warning(
        "an inclination lies from -90 to 90 degrees; lines 1 and 2 begin with inclination and "
        "declination");
  }
}

void check_deviations(const Observations& o, const std::vector<double>& values,
                      Findings& findings) {
  const auto [min, max] = std::minmax_element(values.begin(), values.end());
  const double limit = kMinShare * (*max - *min);
  const auto small = std::count_if(o.std.begin(), o.std.end(), [&](double s) { return s < limit; });
  if (small == 0) return;
  findings.warning(fmt::format(
      "{} of {} standard deviations are below 0.1 % of the data's range, {:.3g} nT; few surveys\n"
      "and models are that exact. Give them a floor, or the model will follow the noise",
      small, o.ndata, limit));
}

}  // namespace

std::vector<std::string> unit_hints(const Observations& o) {
  std::vector<std::string> hints;
  if (o.geomag > 0.0 && o.geomag < kTesla) {
    hints.push_back(
        fmt::format("the field of {:g} nT looks like tesla. Multiply field, data and standard "
                    "deviations by 1e9.",
                    o.geomag));
  } else if (!(o.geomag >= kMinField && o.geomag <= kMaxField)) {
    hints.push_back(
        fmt::format("the field of {:g} nT is unlike the Earth's, 20,000 to 70,000 nT.", o.geomag));
  }
  const double largest = largest_magnitude(in_nanotesla(o));
  if (largest > 0.0 && largest < kTesla) {
    hints.push_back(
        fmt::format("the largest of the data is {:g} nT; they look like tesla. Multiply data and "
                    "standard deviations by 1e9.",
                    largest));
  }
  return hints;
}

void check_survey(const Observations& o, Findings& findings) {
  const std::vector<double> values = in_nanotesla(o);
  Findings::fact("data", fmt::format("{}", o.ndata));
  Findings::fact("easting", format_coordinates(o.x));
  Findings::fact("northing", format_coordinates(o.y));
  Findings::fact("elevation", format_coordinates(o.z));
  Findings::fact("field", fmt::format("{} nT, {}", o.geomag, angles(o.incl, o.decl)));
  Findings::fact("inclination", fmt::format("{}: {}", o.incl, describe_inclination(o.incl)));
  check_directions(o, findings);
  Findings::fact("observed values",
                 fmt::format("{}, median {:.6g} nT", format_range(values, "nT"), median(values)));
  Findings::fact("standard deviations",
                 fmt::format("{}, median {:.6g} nT", format_range(o.std, "nT"), median(o.std)));
  for (const std::string& hint : unit_hints(o)) findings.warning(hint);
  check_deviations(o, values, findings);
}

}  // namespace quorivex
