// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "base/shared_file.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/forward/row_compression.h"

namespace quorivex {

struct BuildOptions {
  std::vector<double> low_pass;  ///< of the wavelet transform; empty: full form
  CompressionRule rule;
  std::int32_t tried_rows = 200;  ///< data that the test models are tried on, at most

  bool compressed() const { return !low_pass.empty(); }
};

/// Takes one record of the sensitivity file, made of these parts.
using RecordSink = std::function<void(std::initializer_list<std::string_view> parts)>;

/// What dropping coefficients does to the predicted data of a test model, in nT.
struct PredictionError {
  std::string model;
  double rms = 0.0;
  double largest = 0.0;
};

struct BuildSummary {
  std::int64_t bytes = 0;          ///< of the file
  std::int64_t coefficients = 0;   ///< stored
  std::vector<double> row_errors;  ///< of each datum: |dropped| / |row|; compressed form only
  std::vector<PredictionError> prediction_errors;  ///< of `tried_rows` data; compressed form only
  std::int32_t tried_rows = 0;
  std::vector<double> gdiag;  ///< diagonal of G^T G, one entry per ground cell
};

/// Statistics of the relative errors of the rows.
struct RowErrors {
  double mean = 0.0;
  double p95 = 0.0;  ///< 95 % of the rows have at most this error
  double largest = 0.0;
};

/// For a compressed build; the others have no row errors.
RowErrors row_errors(const BuildSummary& summary);

/// Points of the mesh's wavelet grid along depth, easting and northing: the next powers of two.
/// @throws StopRun when its points exceed 32 bits
std::array<std::int32_t, 3> wavelet_grid(const Mesh& mesh);

/// Refuses what a sensitivity file cannot hold, before any work is done.
/// @throws StopRun when a record of `cells` values is too long, or the wavelet grid has too many
///         points
void check_fits_file(const Mesh& mesh, std::int64_t cells, bool compressed);

/// Computes the sensitivity file of a survey and hands its records to `sink` one after another:
/// rows divided by the standard deviations, columns by `wtz` (one value per ground cell). Memory: a
/// row and a wavelet grid per thread and a few vectors, whatever the number of data; the records do
/// not depend on the number of threads.
/// @throws StopRun as check_fits_file; when a row does not fit a record, or single precision
BuildSummary build_sensitivity(const Ground& ground, const Observations& observations,
                               const std::vector<double>& wtz, const BuildOptions& options,
                               const RecordSink& sink);

/// The same with the rows divided among all processes, which write them into the file themselves;
/// its bytes do not depend on their number. Collective. Memory of each: as above, the compressed
/// rows of a group of data, and an exchange of some 30 MB.
/// @throws StopRun also when the file cannot be written
BuildSummary build_sensitivity_file(const Ground& ground, const Observations& observations,
                                    const std::vector<double>& wtz, const BuildOptions& options,
                                    SharedFile& file);

}  // namespace quorivex
