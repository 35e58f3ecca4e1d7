// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include "workbench/results/run_summary.h"

namespace quorivex {

// What a misfit says, next to its target and to the number of data.

/// True for a misfit below 0.8 of its target.
bool closer_than_asked(double misfit, double target);

/// What chi-squared per datum may be where the standard deviations are right.
struct ChiSquaredRange {
  double min = 0.0;
  double max = 0.0;
};

/// 1 -+ max(3 sqrt(2 / ndata), 0.2): three standard deviations of chi-squared per datum (Press et
/// al. 2007, section 15.1), and at least 0.2, since errors are hardly ever known to 10 %. The lower
/// end is 0 or more.
ChiSquaredRange expected_chi_squared(std::int32_t ndata);

enum class ChiSquared {
  low,       ///< below the range: the model fits noise
  expected,  ///< within
  high,      ///< above
  far_off    ///< above, and twice the expected value or more: signal is left in the residuals
};

ChiSquared judge_chi_squared(double per_datum, std::int32_t ndata);

/// The beta whose model would have the target misfit: the slope, d misfit / d model norm, of the
/// trade-off curve there. Between two iterations log(misfit) is taken as linear in the model norm,
/// so that it is target log(misfit before / misfit) / (norm - norm before). It is held
/// between the betas of the two: far from their minimum, iterations leave the curve. Nothing where
/// their misfits do not lie on both sides of the target, or the norm does not grow.
std::optional<double> beta_for_target(const SummaryRow& before, const SummaryRow& last,
                                      double target);

}  // namespace quorivex
