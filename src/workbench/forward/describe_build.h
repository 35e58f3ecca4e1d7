// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "workbench/forward/build_sensitivity.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {

/// The sidecar of a sensitivity file of `bytes` that was just built: all its parts, and what the
/// build tells of itself.
Sidecar describe_build(const Ground& ground, const Observations& observations,
                       const std::vector<double>& wtz, const BuildOptions& options,
                       const BuildSummary& summary, std::int64_t bytes);

}  // namespace quorivex
