// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/matrix_checks.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>

#include "workbench/check/sensitivity_summary.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {
namespace {

constexpr double kMillimetre = 1e-3;

/// How the observations that the matrix was made for differ.
std::string describe_difference(const std::string& part) {
  static const std::map<std::string, const char*> kWhat{
      {"stations", "other stations: a position, their number or their order differs"},
      {"field", "another inducing field: inclination, declination or strength differs"},
      {"directions", "other directions of the anomaly"},
      {"deviations",
       "other standard deviations, by which its rows are divided: a value or their order differs"}};
  return kWhat.at(part);
}

bool same_axis(const std::vector<double>& a, const std::vector<double>& b) {
  const auto close = [](double x, double y) { return std::abs(x - y) <= kMillimetre; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), close);
}

std::vector<double> elevations(const Mesh& mesh) {
  std::vector<double> nodes;
  for (const double depth : mesh.depth_nodes) nodes.push_back(mesh.z0 - depth);
  return nodes;
}

}  // namespace

void check_matrix(const std::string& name, const SensitivityFile& file, Findings& findings) {
  const std::string text = describe_sensitivity(name, file);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    if (end > at) Findings::line(std::string_view(text).substr(at, end - at));
    at = end + 1;
  }
  for (const std::string& fault : find_matrix_faults(file)) findings.warning(fault);
}

void check_mesh(const std::string& mesh_file, const Mesh& mesh, Findings& findings) {
  Mesh wanted;
  try {
    wanted = read_mesh_file(mesh_file);
    check_widths(wanted);
  } catch (const StopRun& stop) {
    findings.error(fmt::format("the mesh cannot be compared: {}", stop.message()));
    if (!stop.detail().empty()) Findings::note(stop.detail());
    return;
  }
  std::vector<std::string> axes;
  if (!same_axis(wanted.easting_nodes, mesh.easting_nodes)) axes.emplace_back("easting");
  if (!same_axis(wanted.northing_nodes, mesh.northing_nodes)) axes.emplace_back("northing");
  if (!same_axis(elevations(wanted), elevations(mesh))) axes.emplace_back("elevation");
  if (axes.empty()) {
    Findings::fact("mesh", fmt::format("that of {}", mesh_file));
  } else {
    findings.warning(fmt::format(
        "the sensitivity file was made for another mesh than that of {}; they differ along {}",
        mesh_file, fmt::join(axes, ", ")));
  }
}

bool check_origin(const std::string& name, const SensitivityFile& file,
                  const Observations& observations, Findings& findings) {
  std::optional<Sidecar> sidecar;
  try {
    sidecar = read_sidecar(name);
  } catch (const StopRun& wrong) {
    findings.warning(
        fmt::format("the sidecar of the sensitivity file cannot be used. {}", wrong.message()));
    return false;
  }
  const std::string info = find_sidecar(name);
  if (!sidecar) {
    Findings::note(fmt::format(
        "{} is missing, so only the number of data shows whether the sensitivity file was made\n"
        "for these observations. qvx sensitivity writes it.",
        info));
    return false;
  }
  const std::vector<std::string> mismatched = mismatched_matrix_parts(*sidecar, name, file);
  if (!mismatched.empty()) {
    findings.warning(fmt::format(
        "{} does not belong to this sensitivity file ({} differ), which was replaced or damaged.\n"
        "Whether it was made for these observations is unknown; recompute it with qvx sensitivity",
        info, fmt::join(mismatched, ", ")));
    return false;
  }
  const std::vector<std::string> warnings = warnings_of(*sidecar);
  for (const std::string& warning : warnings) {
    findings.warning("when the sensitivity file was made: " + warning);
  }
  const std::vector<std::string> others = differing_parts(*sidecar, survey_parts(observations));
  for (const std::string& part : others) {
    findings.warning(
        fmt::format("the sensitivity file was made for {}.\nRecompute it with qvx sensitivity",
                    describe_difference(part)));
  }
  if (others.empty()) {
    Findings::fact("sensitivity file", "made for these stations, directions and deviations");
  }
  for (const auto& [line, what] :
       {std::pair{kCellsGround, "cells' ground"}, {kCoordinateSystem, "coordinates"}}) {
    const std::string text = info_text(sidecar->info_lines, line);
    if (!text.empty()) Findings::fact(what, text);
  }
  return !warnings.empty() && std::find(others.begin(), others.end(), "stations") == others.end();
}

}  // namespace quorivex
