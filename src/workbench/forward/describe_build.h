// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "companion/companion.h"
#include "forward/build_sensitivity.h"

namespace quorivex {

/// The companion of a sensitivity file of `bytes` that was just built: all its parts, and what the
/// build tells of itself.
Companion describe_build(const Ground& ground, const Observations& observations,
                         const std::vector<double>& wtz, const BuildOptions& options,
                         const BuildSummary& summary, std::int64_t bytes);

}  // namespace quorivex
