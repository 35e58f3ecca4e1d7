// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

namespace quorivex {

// The decisions of the inversion loop. The tolerances are single-precision numbers carried in
// double, so that a run decides the same way wherever it is computed.

/// 0.05000000074505806
inline constexpr double kTolerance = 0.05F;
/// 0.0010000000474974513
inline constexpr double kPlateau = 0.001F;

/// Trade-off parameter and data misfit of one iteration.
struct Iteration {
  double beta = 0.0;
  double misfit = 0.0;
};

/// True when the misfit is at most the target or exceeds it by less than 5 %.
bool target_reached(double misfit, double target);

/// True when the objective changed by less than 0.1 % from one iteration to the next.
bool plateaued(double phi_before, double phi);

/// The next trade-off parameter on the way to the target: half after the first iteration; then
/// aimed at the target along the power law through the last two iterations, but never below beta
/// times 0.95 target / misfit, a factor that is held from 0.5 to 0.8.
double next_beta(const Iteration& now, const std::optional<Iteration>& before, double target);

}  // namespace quorivex
