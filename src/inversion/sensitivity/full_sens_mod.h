// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/view1.h"
#include "inversion/sensitivity/sensitivity_state.h"

/// Products with a full matrix. Model vectors hold one entry per cell below the column tops. The
/// threads take groups of rows of slices of cells in turn, so short that a slice's piece of the
/// model stays in cache while the rows stream past it; a datum is summed exactly, and the sums of a
/// cell are added along a fixed tree. Results are the same to the last bit for any number of
/// threads.
namespace quorivex::FULL_SENS_MOD {

/// d = G x
void CALC_FULL_GV(const SensitivityState& sens, View1<const double> x, View1<double> d);
/// x = G^T d
void CALC_FULL_GTV(const SensitivityState& sens, View1<const double> d, View1<double> x);

}  // namespace quorivex::FULL_SENS_MOD
