// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/forward/row_compression.h"

namespace quorivex {

struct BuildOptions {
  std::vector<double> low_pass;  ///< of the wavelet transform; empty: full form
  CompressionRule rule;
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
  std::int64_t coefficients = 0;   ///< stored
  std::vector<double> row_errors;  ///< of each datum: |dropped| / |row|; compressed form only
  std::vector<PredictionError> prediction_errors;  ///< compressed form only
  std::vector<double> gdiag;                       ///< diagonal of G^T G, one entry a ground cell
};

/// Of the relative errors of the rows: 95 % of them are at most `most`.
struct RowErrors {
  double mean = 0.0;
  double most = 0.0;
  double largest = 0.0;
};

/// For a build with row errors.
RowErrors row_errors(const BuildSummary& summary);

/// Wavelet grid of the ground's mesh along depth, easting and northing: the next powers of two.
/// @throws StopRun when its points exceed 32 bits
std::array<std::int32_t, 3> wavelet_grid(const Mesh& mesh);

/// Refuses what a sensitivity file cannot hold, before any work is done.
/// @throws StopRun when its records of `cells` values, or the points of the wavelet grid, are too
///         many
void check_fits_file(const Mesh& mesh, std::int64_t cells, bool compressed);

/// Computes the sensitivity file of a survey and hands its records to `sink` one after another:
/// rows divided by the standard deviations, columns by `wtz` (one value a ground cell). Memory: a
/// row and a wavelet grid a thread and a few vectors, whatever the number of data; the records do
/// not depend on the number of threads.
/// @throws StopRun as check_fits_file; when a row does not fit a record, or single precision
BuildSummary build_sensitivity(const Ground& ground, const Observations& observations,
                               const std::vector<double>& wtz, const BuildOptions& options,
                               const RecordSink& sink);

}  // namespace quorivex
