// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include "inversion/sensitivity/memory.h"
#include "workbench/forward/build_sensitivity.h"
#include "workbench/forward/cell_scale.h"

namespace quorivex {

/// What a sensitivity file would be like, estimated from a sample of its rows.
struct BuildEstimate {
  std::int32_t sampled_rows = 0;
  BuildSummary sample;  ///< of these rows alone
  MatrixCounts counts;  ///< of the whole matrix
  double file_bytes = 0.0;
  double build_bytes = 0.0;  ///< memory to compute it with the threads at hand
  double seconds = 0.0;      ///< to compute it
};

/// Computes rows spread evenly over the data, at least 32 and four per thread, and writes nothing.
/// @throws StopRun as build_sensitivity
BuildEstimate estimate_build(const Ground& ground, const Observations& observations,
                             const ScaleRule& scale, const BuildOptions& options);

/// The counts of a matrix with so many coefficients (0 in full form).
MatrixCounts counts_of_build(const Ground& ground, std::int64_t ndata, const BuildOptions& options,
                             std::int64_t coefficients);

/// The counts of a matrix of which nothing is computed yet. Compressed it has
/// 40 sqrt(cells) coefficients per datum.
MatrixCounts typical_counts(const Ground& ground, std::int64_t ndata, bool compressed);

/// `count` of the observations, spread evenly over all of them in their order.
Observations evenly_sampled(const Observations& observations, std::int32_t count);

}  // namespace quorivex
