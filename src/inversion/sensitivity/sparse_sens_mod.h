// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/view1.h"
#include "inversion/sensitivity/sensitivity_state.h"

/// Products with the sparse rows S of a compressed matrix. w has one entry per point of the wavelet
/// grid, or of the blocks that a process of a team has, for whom the products are collective; d has
/// one per datum. Of a block that processes share, S^T d belongs to the one with the first rows.
/// The threads take the pieces of the matrix in turn; a datum is summed
/// exactly, and the sums of a point are added along a fixed tree. Results are the same to the last
/// bit for any number of threads.
namespace quorivex::SPARSE_SENS_MOD {

/// d = S w
void CALC_GV(const SensitivityState& sens, View1<const double> w, View1<double> d);
/// w = S^T d
void CALC_GTV(const SensitivityState& sens, View1<const double> d, View1<double> w);
/// w = S^T S w, in place
void CALC_GTGV(const SensitivityState& sens, View1<double> w);

}  // namespace quorivex::SPARSE_SENS_MOD
