// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "workbench/results/finished_run.h"

namespace quorivex {

/// Significant digits of the values of a model file.
inline constexpr int kModelDigits = 6;
/// Their relative error: half a unit of the last digit, and a little more.
inline constexpr double kModelRounding = 5.1e-6;

/// Susceptibility (SI) of every cell of the mesh in cell order, to the six digits of the file; NaN
/// in air and in inactive cells that the reference model marks as air (-100).
/// @throws StopRun for a file that is truncated, too long, of a run with other column tops, or
///         whose smallness is not the one that the run states for the iteration
std::vector<double> read_model(const FinishedRun& run, const FinishedIteration& iteration);

/// Predicted data (nT), in the order of the observations.
/// @throws StopRun for a file that is truncated, or whose stations are not those of the
///         observations or whose misfit is not the one that the run states: one of another
///         iteration or run, or observations that were changed
std::vector<double> read_predicted(const FinishedRun& run, const FinishedIteration& iteration);

/// Observed and predicted data side by side, one value per datum.
struct DataFit {
  std::vector<double> observed;    ///< nT
  std::vector<double> predicted;   ///< nT
  std::vector<double> residual;    ///< observed - predicted, nT
  std::vector<double> normalised;  ///< residual / standard deviation; squares add up to the misfit
};

DataFit data_fit(const Observations& observations, std::vector<double> predicted);

}  // namespace quorivex
