// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/build_estimate.h"

#include <omp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

#include "base/statistics.h"
#include "inversion/sensitivity/wavelet_filters.h"
#include "workbench/forward/data_rows.h"

namespace quorivex {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int32_t kMinSample = 32;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Bytes that a row adds to the file besides its coefficients: the frame and, in compressed form,
/// their count.
double bytes_around_row(const BuildOptions& options) { return options.compressed() ? 12.0 : 8.0; }

double bytes_per_coefficient(const BuildOptions& options) {
  return options.compressed() ? 8.0 : 4.0;
}

/// Largest resident set of qvx while it builds: the program; test models, scale with its
/// reciprocals, and diagonal in two vectors; and for each thread its grid, or its row in full form,
/// and the coefficients that it keeps, in arrays that end within a large page.
double build_memory(const MatrixCounts& counts) {
  constexpr double kProgramBytes = 16e6;
  const auto cells = static_cast<double>(counts.nsens);
  const auto points = static_cast<double>(counts.grid_points);
  const double threads = omp_get_max_threads();
  const double per_row =
      static_cast<double>(counts.coefficients) / std::max(static_cast<double>(counts.ndata), 1.0);
  const double of_thread = counts.compressed
                               ? 8.0 * points + 12.0 * per_row + std::min(2.0 * points, 5e6)
                               : 12.0 * cells;
  return kProgramBytes + 44.0 * cells + threads * of_thread;
}

}  // namespace

Observations evenly_sampled(const Observations& observations, std::int32_t count) {
  Observations sample = observations;
  const auto thin = [&](std::vector<double>& values) {
    if (values.empty()) return;
    for (std::int64_t n = 0; n < count; ++n) {
      values[as_size(n)] = values[as_size(n * observations.ndata / count)];
    }
    values.resize(as_size(count));
  };
  for (auto* values : {&sample.x, &sample.y, &sample.z, &sample.datum_aincl, &sample.datum_adecl,
                       &sample.obs, &sample.std}) {
    thin(*values);
  }
  sample.ndata = count;
  return sample;
}

MatrixCounts counts_of_build(const Ground& ground, std::int64_t ndata, const BuildOptions& options,
                             std::int64_t coefficients) {
  MatrixCounts counts{.ndata = ndata,
                      .nsens = ground.cells(),
                      .compressed = options.compressed(),
                      .mesh_cells = ground.mesh.cells()};
  if (!counts.compressed) return counts;
  const auto [depth, east, north] = wavelet_grid(ground.mesh);
  counts.coefficients = coefficients;
  counts.grid_points = std::int64_t{depth} * east * north;
  return counts;
}

MatrixCounts typical_counts(const Ground& ground, std::int64_t ndata, bool compressed) {
  BuildOptions options;
  if (compressed) options.low_pass = low_pass_filter("daub4");
  // Measured at an error of 0.01 on meshes of 3,000 to 430,000 cells: 28 to 55.
  const double per_datum = 40.0 * std::sqrt(static_cast<double>(ground.cells()));
  return counts_of_build(ground, ndata, options,
                         ndata * std::min<std::int64_t>(std::llround(per_datum), ground.cells()));
}

std::optional<double> advised_row_error(const Ground& ground, const Observations& observations,
                                        const ScaleRule& scale, const BuildOptions& options) {
  constexpr std::array kErrors{0.2,   0.15,   0.1,    0.07,   0.05,   0.03,  0.02,
                               0.015, 0.01,   0.007,  0.005,  0.003,  0.002, 0.0015,
                               0.001, 0.0007, 0.0005, 0.0003, 0.0002, 0.0001};
  const Observations sample =
      evenly_sampled(observations, std::min(observations.ndata, kMinSample));
  const std::vector<double> wtz = cell_scale(ground, sample, scale);
  const double allowed = 0.1 * median(observations.std);
  const auto is_too_large = [&](double error) {
    BuildOptions tried = options;
    tried.rule = {CompressionRule::Kind::relative_error, error};
    const BuildSummary summary = build_sensitivity(ground, sample, wtz, tried, [](auto) {});
    return std::any_of(summary.prediction_errors.begin(), summary.prediction_errors.end(),
                       [&](const PredictionError& of) { return !(of.rms < allowed); });
  };
  const auto* const found = std::partition_point(kErrors.begin(), kErrors.end(), is_too_large);
  if (found == kErrors.end()) return std::nullopt;
  return *found;
}

namespace {

/// The time to build all rows, from larger and larger samples until one takes long enough to be
/// timed.
double estimated_seconds(const Ground& ground, const Observations& observations,
                         const ScaleRule& scale, const BuildOptions& options) {
  constexpr double kEnough = 0.3;  // seconds
  const double ndata = observations.ndata;
  const std::vector<double> wtz =
      cell_scale(ground, evenly_sampled(observations, 1), {.kind = ScaleRule::Kind::none});
  const auto seconds_of = [&](std::int32_t rows) {
    BuildOptions timed = options;
    timed.tried_rows = static_cast<std::int32_t>(options.tried_rows * (rows / ndata));
    const Observations sample = evenly_sampled(observations, rows);
    const Clock::time_point start = Clock::now();
    build_sensitivity(ground, sample, wtz, timed, [](auto) {});
    return seconds_since(start);
  };
  // A build of few rows takes the same fixed time; the difference is that of rows alone.
  const std::int32_t few = threads_for(observations);
  const double fixed = seconds_of(few);
  std::int32_t rows = std::min(observations.ndata, 4 * few);
  double more = seconds_of(rows) - fixed;
  while (more < kEnough && rows < observations.ndata) {
    rows = std::min(observations.ndata, 4 * rows);
    more = seconds_of(rows) - fixed;
  }
  const Observations sample = evenly_sampled(observations, rows);
  const Clock::time_point start = Clock::now();
  cell_scale(ground, sample, scale);
  const double of_scale = seconds_since(start) * ndata / rows;
  return of_scale + fixed + std::max(more, 0.0) * ndata / std::max(rows - few, 1);
}

}  // namespace

BuildEstimate estimate_build(const Ground& ground, const Observations& observations,
                             const ScaleRule& scale, const BuildOptions& options) {
  BuildEstimate estimate;
  estimate.sampled_rows = std::min(observations.ndata, kMinSample);
  const Observations sample = evenly_sampled(observations, estimate.sampled_rows);
  const double share = static_cast<double>(observations.ndata) / estimate.sampled_rows;
  const std::vector<double> wtz = cell_scale(ground, sample, scale);
  estimate.sample = build_sensitivity(ground, sample, wtz, options, [](auto) {});
  estimate.seconds = estimated_seconds(ground, observations, scale, options);

  const auto sampled_coefficients = static_cast<double>(estimate.sample.coefficients);
  estimate.counts = counts_of_build(ground, observations.ndata, options,
                                    std::llround(sampled_coefficients * share));
  const double sampled_rows_bytes = sampled_coefficients * bytes_per_coefficient(options) +
                                    estimate.sampled_rows * bytes_around_row(options);
  estimate.file_bytes =
      static_cast<double>(estimate.sample.bytes) + (share - 1.0) * sampled_rows_bytes;
  estimate.build_bytes = build_memory(estimate.counts);
  return estimate;
}

}  // namespace quorivex
