// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <vector>

#include "workbench/results/finished_run.h"

namespace quorivex {

/// The smallness term of a model's norm, and how far the rounding of its file may change it.
struct Smallness {
  double value = 0.0;
  double rounding = 0.0;
};

/// Sum over the active cells of w alpha_s V (wtz (m - mref))^2, with w the 3-D weight and V the
/// volume, as a run states it for each iteration. Nothing when that can no longer be computed: a
/// file of the run is gone, or the run has replaced its own reference model.
/// @param model  susceptibility (SI) of every cell of the mesh, as read from a model file
std::optional<Smallness> smallness(const FinishedRun& run, const std::vector<double>& model);

}  // namespace quorivex
