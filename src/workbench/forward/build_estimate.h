// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

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

/// Computes rows spread evenly over the data, 32 of them, and for the time as many as take a third
/// of a second; writes nothing.
/// @throws StopRun as build_sensitivity
BuildEstimate estimate_build(const Ground& ground, const Observations& observations,
                             const ScaleRule& scale, const BuildOptions& options);

/// The largest of some 20 row errors from 0.2 to 0.0001 for which the errors of the predicted data
/// of every test model stay below a tenth of the median standard deviation (root mean square, on a
/// sample of the data); nothing where none of them does.
std::optional<double> advised_row_error(const Ground& ground, const Observations& observations,
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
