// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/survey_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace quorivex {
namespace {

constexpr double kMinField = 20000.0;  // nT, of the Earth
constexpr double kMaxField = 70000.0;
constexpr double kTesla = 1e-3;       // fields and data below are rather tesla than nT
constexpr double kMinShare = 1e-3;    // of the data's range, for a standard deviation
constexpr int kDigits = 10;           // of a coordinate
constexpr double kMillimetre = 1e-3;  // the rounding of a station on the ground

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
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  const double limit = kMinShare * (*most - *least);
  const auto small = std::count_if(o.std.begin(), o.std.end(), [&](double s) { return s < limit; });
  if (small == 0) return;
  findings.warning(fmt::format(
      "{} of {} standard deviations are below 0.1 % of the data's range, {:.3g} nT; few surveys\n"
      "and models are that exact. Give them a floor, or the model will follow the noise",
      small, o.ndata, limit));
}

/// Number from 1 of the cell that holds x, 0 beside the nodes.
std::int32_t cell_at(const std::vector<double>& nodes, double x) {
  if (!(x >= nodes.front() && x <= nodes.back())) return 0;
  const auto above = std::upper_bound(nodes.begin(), nodes.end(), x);
  return static_cast<std::int32_t>(
      std::clamp<std::ptrdiff_t>(above - nodes.begin(), 1, length(nodes) - 1));
}

std::string place(const Observations& o, std::size_t i) {
  return fmt::format("datum {} at easting {:.2f}, northing {:.2f}, elevation {:.2f} m", i + 1,
                     o.x[i], o.y[i], o.z[i]);
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
  Findings::fact("easting", range_in_words(o.x, "m", kDigits));
  Findings::fact("northing", range_in_words(o.y, "m", kDigits));
  Findings::fact("elevation", range_in_words(o.z, "m", kDigits));
  Findings::fact("field", fmt::format("{} nT, {}", o.geomag, angles(o.incl, o.decl)));
  check_directions(o, findings);
  Findings::fact("observed values", fmt::format("{}, median {:.6g} nT",
                                                range_in_words(values, "nT"), median_of(values)));
  Findings::fact("standard deviations", fmt::format("{}, median {:.6g} nT",
                                                    range_in_words(o.std, "nT"), median_of(o.std)));
  for (const std::string& hint : unit_hints(o)) findings.warning(hint);
  check_deviations(o, values, findings);
}

void check_stations(const Observations& o, const Ground& ground, Findings& findings) {
  const Mesh& mesh = ground.mesh;
  std::vector<std::size_t> beside;
  std::vector<std::size_t> below;
  for (std::size_t i = 0; i < o.x.size(); ++i) {
    const std::int32_t east = cell_at(mesh.easting_nodes, o.x[i]);
    const std::int32_t north = cell_at(mesh.northing_nodes, o.y[i]);
    if (east == 0 || north == 0) {
      beside.push_back(i);
      continue;
    }
    if (o.z[i] < ground.surface(north, east) - kMillimetre) below.push_back(i);
  }
  const auto warn = [&](const std::vector<std::size_t>& stations, const char* what) {
    if (stations.empty()) return;
    findings.warning(fmt::format("{} of {} stations lie {}, the first is\n{}", stations.size(),
                                 o.ndata, what, place(o, stations.front())));
  };
  warn(beside, "outside the mesh");
  warn(below, "below the ground, which is right for boreholes only");
}

}  // namespace quorivex
