// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/forward/build_sensitivity.h"
#include "workbench/forward/cell_scale.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex {

/// Computes the sensitivity file `output` and writes its sidecar next to it. `origin` is what only
/// the caller knows of the matrix (files, options); it ends the sidecar. Neither file appears
/// before it is complete, and the sidecar of an earlier file is gone before a new one takes its
/// place. Collective: the processes share the work.
/// @throws StopRun as build_sensitivity, and for a file that cannot be written
BuildSummary write_sensitivity_file(const std::string& output, const Ground& ground,
                                    const Observations& observations, const ScaleRule& scale,
                                    const BuildOptions& options,
                                    const std::vector<InfoLine>& origin);

}  // namespace quorivex
