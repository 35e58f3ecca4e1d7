// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/build_estimate.h"

#include <omp.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "base/record_writer.h"
#include "inversion/sensitivity/wavelet_filters.h"

namespace quorivex {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int32_t kMinSample = 32;
constexpr std::int32_t kRowsPerThread = 4;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Bytes that a row adds to the file besides its coefficients: the frame and, in compressed form,
/// their count.
double bytes_around_row(const BuildOptions& options) { return options.compressed() ? 12.0 : 8.0; }

double bytes_per_coefficient(const BuildOptions& options) {
  return options.compressed() ? 8.0 : 4.0;
}

/// Largest resident set of qvx while it builds, measured with /usr/bin/time: the program; test
/// models, scale and diagonal; and for each thread a row, its grid and its coefficients.
double build_memory(const MatrixCounts& counts) {
  constexpr double kProgramBytes = 15e6;
  const auto cells = static_cast<double>(counts.nsens);
  const auto points = static_cast<double>(counts.grid_points);
  const double threads = omp_get_max_threads();
  const double per_row =
      static_cast<double>(counts.coefficients) / std::max(static_cast<double>(counts.ndata), 1.0);
  const double of_thread =
      counts.compressed ? 8.0 * cells + 8.0 * points + 24.0 * per_row : 12.0 * cells;
  return kProgramBytes + 40.0 * cells + 24.0 * points + threads * of_thread;
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

BuildEstimate estimate_build(const Ground& ground, const Observations& observations,
                             const ScaleRule& scale, const BuildOptions& options) {
  const std::int32_t wanted = std::max(kMinSample, kRowsPerThread * omp_get_max_threads());
  BuildEstimate estimate;
  estimate.sampled_rows = std::min(observations.ndata, wanted);
  const Observations sample = evenly_sampled(observations, estimate.sampled_rows);
  const double share = static_cast<double>(observations.ndata) / estimate.sampled_rows;

  const Clock::time_point start = Clock::now();
  const std::vector<double> wtz = cell_scale(ground, sample, scale);
  const double scale_seconds = seconds_since(start);
  // A build of fewer rows takes the same fixed time; the difference is that of rows alone.
  const Observations few = evenly_sampled(sample, (sample.ndata + 3) / 4);
  const Clock::time_point before_few = Clock::now();
  build_sensitivity(ground, few, wtz, options, [](auto) {});
  const double few_seconds = seconds_since(before_few);
  const Clock::time_point before_sample = Clock::now();
  std::int64_t written = 0;
  estimate.sample = build_sensitivity(ground, sample, wtz, options,
                                      [&](auto parts) { written += framed_bytes(parts); });
  const double more_seconds = std::max(seconds_since(before_sample) - few_seconds, 0.0);
  estimate.seconds = scale_seconds * share + few_seconds +
                     more_seconds / std::max(sample.ndata - few.ndata, 1) * observations.ndata;

  const auto sampled_coefficients = static_cast<double>(estimate.sample.coefficients);
  estimate.counts = counts_of_build(ground, observations.ndata, options,
                                    std::llround(sampled_coefficients * share));
  const double sampled_rows_bytes = sampled_coefficients * bytes_per_coefficient(options) +
                                    estimate.sampled_rows * bytes_around_row(options);
  estimate.file_bytes = static_cast<double>(written) + (share - 1.0) * sampled_rows_bytes;
  estimate.build_bytes = build_memory(estimate.counts);
  return estimate;
}

}  // namespace quorivex
