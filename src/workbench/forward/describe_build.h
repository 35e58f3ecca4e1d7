// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "inversion/sensitivity/memory.h"
#include "workbench/forward/build_sensitivity.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {

/// The sidecar of a sensitivity file that was just built: the fingerprints of all its
/// parts, and lines about survey, size and errors.
Sidecar describe_build(const Ground& ground, const Observations& observations,
                       const std::vector<double>& wtz, const BuildOptions& options,
                       const BuildSummary& summary);

/// "81.3 MB, 47.8 % of the 170.2 MB of the full form", of a sensitivity file of `bytes`. The one
/// text about its size; both are lengths of files.
std::string describe_size(double bytes, const MatrixCounts& counts);

/// Whether a compressed file of `bytes` saves less than a tenth of the full form.
bool compression_hardly_saves(double bytes, const MatrixCounts& counts);

}  // namespace quorivex
