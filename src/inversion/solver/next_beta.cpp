// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/solver/next_beta.h"

#include <algorithm>
#include <cmath>

namespace quorivex {

bool target_reached(double misfit, double target) {
  return target >= misfit || kTolerance > (misfit - target) / target;
}

bool plateaued(double phi_before, double phi) {
  return std::abs(phi_before - phi) / phi < kPlateau;
}

double next_beta(const Iteration& now, const std::optional<Iteration>& before, double target) {
  if (!before) return 0.5 * now.beta;
  const double factor = std::clamp((1.0 - kTolerance) * target / now.misfit, 0.5, 0.8);
  const double lowest = factor * now.beta;
  const double slope = std::log(before->misfit / now.misfit) / std::log(before->beta / now.beta);
  if (slope <= 0.0) return lowest;
  const double aimed = std::exp(std::log(now.beta) - std::log(now.misfit / target) / slope);
  return aimed <= lowest ? lowest : aimed;
}

}  // namespace quorivex
