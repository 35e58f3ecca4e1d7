// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/view1.h"
#include "inversion/objective/weighting.h"

/// Products with W^T W = Ws^T Ws + Wx^T Wx + Wy^T Wy + Wz^T Wz over the active cells. The alphas
/// and the 3-D weights are inside the operators.
namespace quorivex::CALC_WTW_MOD {

/// y = Ws^2 xs + sum over x, y, z of Wk^T Wk x, all of length ncell. The smallness term takes a
/// vector of its own because the reference model may enter there alone.
void calc_WTW_vec(const WeightingOperators& operators, View1<const double> x,
                  View1<const double> xs, View1<double> y);

/// diag(p) = Ws(p)^2 + sum of the squares in column p of Wx, Wy and Wz; returns the trace.
/// @throws StopRun "size(diag) /= ncell"
double calc_WTW_diagonal(const WeightingOperators& operators, View1<double> diag);

}  // namespace quorivex::CALC_WTW_MOD
