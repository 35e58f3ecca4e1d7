// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/csv_files.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <iterator>
#include <string_view>

#include "base/atomic_file.h"
#include "base/progress.h"
#include "base/text.h"

namespace quorivex {
namespace {

/// ",MIDDLE" and ",SIZE" of each cell of an axis.
struct AxisTexts {
  std::vector<std::string> middle;
  std::vector<std::string> size;

  explicit AxisTexts(const std::vector<double>& nodes) {
    for (const double value : middles(nodes)) middle.push_back(fmt::format("{:.12g}", value));
    for (std::size_t i = 1; i < nodes.size(); ++i) {
      size.push_back(fmt::format("{:.12g}", nodes[i] - nodes[i - 1]));
    }
  }
};

/// Adds a name as a field, in quotes where it must be. A spreadsheet takes a text that begins like
/// a formula for one, and would compute it: an apostrophe before it makes it text.
void append_field(AtomicFile& file, const std::string& name) {
  const bool formula =
      !name.empty() && std::string_view("=+-@\t\r").find(name.front()) != std::string_view::npos;
  const char* const mark = formula && !to_number(name) ? "'" : "";
  if (name.find_first_of(",\"\r\n") == std::string::npos) {
    file.append(fmt::format(",{}{}", mark, name));
    return;
  }
  std::string quoted;
  for (const char c : name) quoted.append(c == '"' ? 2 : 1, c);
  file.append(fmt::format(",\"{}{}\"", mark, quoted));
}

}  // namespace

void write_model_csv(const std::string& name, const ModelGrid& grid, bool with_air) {
  const AxisTexts easting(grid.easting_nodes);
  const AxisTexts northing(grid.northing_nodes);
  const AxisTexts elevation(grid.elevation_nodes);
  AtomicFile file(name);
  file.append("easting,northing,elevation,width_easting,width_northing,thickness,susceptibility\n");
  Progress progress("Writing cells", grid.cells());
  std::string column;
  for (std::int64_t j = 0; j < grid.nn; ++j) {
    progress.done(j * grid.ne * grid.nz);
    for (std::int64_t i = 0; i < grid.ne; ++i) {
      column.clear();
      const auto e = static_cast<std::size_t>(i);
      const auto n = static_cast<std::size_t>(j);
      for (std::int64_t k = grid.nz - 1; k >= 0; --k) {
        const double value = grid(i, j, k);
        const bool air = std::isnan(value);
        if (air && !with_air) continue;
        const auto z = static_cast<std::size_t>(k);
        fmt::format_to(std::back_inserter(column), "{},{},{},{},{},{},", easting.middle[e],
                       northing.middle[n], elevation.middle[z], easting.size[e], northing.size[n],
                       elevation.size[z]);
        if (!air) fmt::format_to(std::back_inserter(column), "{:.6g}", value);
        column += '\n';
      }
      file.append(column);
    }
  }
  file.commit();
}

void write_data_csv(const std::string& name, const Observations& observations, const DataFit& fit,
                    const StationLabels& labels) {
  AtomicFile file(name);
  file.append(
      fmt::format("datum,easting,northing,elevation,observed,standard_deviation,predicted,residual,"
                  "normalised_residual{}{}\n",
                  labels.line.empty() ? "" : ",line", labels.fiducial.empty() ? "" : ",fiducial"));
  for (std::size_t i = 0; i < fit.observed.size(); ++i) {
    file.append(fmt::format("{},{:.12g},{:.12g},{:.12g},{:.9g},{:.9g},{:.9g},{:.9g},{:.9g}", i + 1,
                            observations.x[i], observations.y[i], observations.z[i],
                            fit.observed[i], observations.std[i], fit.predicted[i], fit.residual[i],
                            fit.normalised[i]));
    if (!labels.line.empty()) append_field(file, labels.line[i]);
    if (!labels.fiducial.empty()) append_field(file, labels.fiducial[i]);
    file.append("\n");
  }
  file.commit();
}

std::string vrt_name(const std::string& table) {
  return std::filesystem::path(table).replace_extension(".vrt").string();
}

void write_points_vrt(const std::string& table, const std::string& crs) {
  const std::filesystem::path path(table);
  AtomicFile file(vrt_name(table));
  file.append(fmt::format(
      "<OGRVRTDataSource>\n  <OGRVRTLayer name=\"{}\">\n"
      "    <SrcDataSource relativeToVRT=\"1\">{}</SrcDataSource>\n"
      "    <OpenOptions>\n      <OOI key=\"AUTODETECT_TYPE\">YES</OOI>\n    </OpenOptions>\n"
      "    <GeometryType>wkbPoint25D</GeometryType>\n    <LayerSRS>{}</LayerSRS>\n"
      "    <GeometryField encoding=\"PointFromColumns\" x=\"easting\" y=\"northing\" "
      "z=\"elevation\"/>\n  </OGRVRTLayer>\n</OGRVRTDataSource>\n",
      escape_xml(path.stem().string()), escape_xml(path.filename().string()), crs));
  file.commit();
}

}  // namespace quorivex
