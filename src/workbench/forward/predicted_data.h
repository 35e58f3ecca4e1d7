// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/ranks.h"
#include "base/view1.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "inversion/sensitivity/getpar.h"

namespace quorivex {

/// Reads a model file (SI, one value per cell of the mesh): one value per ground cell, 0 where
/// the file marks air.
/// @throws StopRun as read_full_model
std::vector<double> read_ground_model(const std::string& name, const Ground& ground);

/// The data in nT of a model (SI, one value per ground cell), straight from the prisms: no matrix
/// is kept, so that the memory does not grow with data x cells. Collective where the team is all
/// processes.
std::vector<double> predicted_data(const Ground& ground, const Observations& observations,
                                   View1<const double> model,
                                   ranks::Team team = ranks::Team::alone);

/// The same by the matrix of a sensitivity file, which was made for these observations: its rows
/// are divided by their standard deviations.
/// @throws StopRun when the matrix does not fit its mesh
std::vector<double> predicted_data(const SensitivityFile& file, const Observations& observations,
                                   std::vector<double> model);

/// Gaussian noise with standard deviations of `floor` nT plus `percent` of each datum's magnitude,
/// added to `data`; returns the standard deviations. The same seed gives the same noise.
/// @throws StopRun when a standard deviation is 0
std::vector<double> add_noise(double floor, double percent, std::uint64_t seed,
                              std::vector<double>& data);

}  // namespace quorivex
