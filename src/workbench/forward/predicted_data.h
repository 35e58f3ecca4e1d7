// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"

namespace quorivex {

/// The data in nT of a model (SI, one value a ground cell), straight from the prisms: no matrix is
/// kept, so that the memory does not grow with data x cells.
std::vector<double> predicted_data(const Ground& ground, const Observations& observations,
                                   View1<const double> model);

/// Gaussian noise with standard deviations of `floor` nT plus `percent` of each datum's magnitude,
/// added to `data`; returns the standard deviations. The same seed gives the same noise.
/// @throws StopRun when a standard deviation is 0
std::vector<double> add_noise(double floor, double percent, std::uint64_t seed,
                              std::vector<double>& data);

}  // namespace quorivex
