// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/describe_build.h"

#include <fmt/format.h>

#include <algorithm>

namespace quorivex {

Sidecar describe_build(const Ground& ground, const Observations& observations,
                       const std::vector<double>& wtz, const BuildOptions& options,
                       const BuildSummary& summary, std::int64_t bytes) {
  Sidecar sidecar{.bytes = bytes,
                  .parts = matrix_parts(ground, options.low_pass, wtz, summary.gdiag),
                  .figures = {}};
  for (Part& part : survey_parts(observations)) sidecar.parts.push_back(std::move(part));
  const Observations& o = observations;
  const auto [least, most] = std::minmax_element(o.std.begin(), o.std.end());
  sidecar.figures = {{"data", fmt::format("{}", o.ndata)},
                     {"cells", fmt::format("{} below the ground, of {} x {} x {}", ground.cells(),
                                           ground.mesh.ne, ground.mesh.nn, ground.mesh.nz)},
                     {"inducing_field", fmt::format("inclination {}, declination {} degrees, {} nT",
                                                    o.incl, o.decl, o.geomag)},
                     {"deviation_range", fmt::format("{} to {} nT", *least, *most)},
                     {"coefficients", fmt::format("{}", summary.coefficients)}};
  if (!summary.row_errors.empty()) {
    const RowErrors errors = row_errors(summary);
    sidecar.figures.push_back(
        {"row_error", fmt::format("mean {:.4g}, 95 % below {:.4g}, largest {:.4g} of a row's norm",
                                  errors.mean, errors.most, errors.largest)});
  }
  for (const PredictionError& error : summary.prediction_errors) {
    sidecar.figures.push_back({"data_error", fmt::format("{}: rms {:.4g}, largest {:.4g} nT",
                                                         error.model, error.rms, error.largest)});
  }
  return sidecar;
}

}  // namespace quorivex
