// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/describe_build.h"

#include <fmt/format.h>

#include <algorithm>

#include "inversion/mesh_io/describe_mesh.h"

namespace quorivex {
namespace {

/// Length of the file in full form, from that of the same matrix compressed: other rows, the same
/// other records. A row has a frame of 8 bytes and, compressed, 4 for its count and 8 per
/// coefficient.
double full_file_bytes(double bytes, const MatrixCounts& counts) {
  return bytes - 8.0 * static_cast<double>(counts.coefficients) -
         4.0 * static_cast<double>(counts.ndata) + full_bytes(counts);
}

}  // namespace

Sidecar describe_build(const Ground& ground, const Observations& observations,
                       const std::vector<double>& wtz, const BuildOptions& options,
                       const BuildSummary& summary) {
  Sidecar sidecar{.bytes = summary.bytes,
                  .parts = matrix_parts(ground, options.low_pass, wtz, summary.gdiag),
                  .info_lines = {}};
  for (Part& part : survey_parts(observations)) sidecar.parts.push_back(std::move(part));
  const Observations& o = observations;
  const auto [min, max] = std::minmax_element(o.std.begin(), o.std.end());
  sidecar.info_lines = {
      {"data", fmt::format("{}", o.ndata)},
      {"cells", fmt::format("{} ground cells of {} x {} x {}", ground.cells(), ground.mesh.ne,
                            ground.mesh.nn, ground.mesh.nz)},
      {"inducing_field",
       fmt::format("inclination {}, declination {} degrees, {} nT", o.incl, o.decl, o.geomag)},
      {"deviation_range", fmt::format("{} to {} nT", *min, *max)},
      {"coefficients", fmt::format("{}", summary.coefficients)}};
  if (!summary.row_errors.empty()) {
    const RowErrors errors = row_errors(summary);
    sidecar.info_lines.push_back(
        {"row_error", fmt::format("mean {:.4g}, 95 % below {:.4g}, largest {:.4g} of a row's norm",
                                  errors.mean, errors.p95, errors.largest)});
  }
  for (const PredictionError& error : summary.prediction_errors) {
    sidecar.info_lines.push_back(
        {"data_error",
         fmt::format("{}: rms {:.4g}, largest {:.4g} nT", error.model, error.rms, error.largest)});
  }
  return sidecar;
}

std::string describe_size(double bytes, const MatrixCounts& counts) {
  if (!counts.compressed) return format_bytes(bytes);
  const double full = full_file_bytes(bytes, counts);
  return fmt::format("{}, {:.1f} % of the {} of the full form", format_bytes(bytes),
                     100.0 * bytes / full, format_bytes(full));
}

bool compression_hardly_saves(double bytes, const MatrixCounts& counts) {
  return counts.compressed && bytes > 0.9 * full_file_bytes(bytes, counts);
}

}  // namespace quorivex
