// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/fit_rules.h"

#include <algorithm>
#include <cmath>

namespace quorivex {
namespace {

constexpr double kMuchCloser = 0.8;   // of the target
constexpr double kDeviations = 3.0;   // of chi-squared
constexpr double kLeastMargin = 0.2;  // errors known to 10 %, squared
constexpr double kFarOff = 2.0;

}  // namespace

bool closer_than_asked(double misfit, double target) { return misfit < kMuchCloser * target; }

ChiSquaredRange expected_chi_squared(std::int32_t ndata) {
  const double deviation = std::sqrt(2.0 / std::max(ndata, 1));
  const double margin = std::max(kDeviations * deviation, kLeastMargin);
  return {std::max(1.0 - margin, 0.0), 1.0 + margin};
}

ChiSquared judge_chi_squared(double per_datum, std::int32_t ndata) {
  const ChiSquaredRange range = expected_chi_squared(ndata);
  if (per_datum < range.min) return ChiSquared::low;
  if (per_datum <= range.max) return ChiSquared::expected;
  return per_datum < kFarOff ? ChiSquared::high : ChiSquared::far_off;
}

std::optional<double> beta_for_target(const SummaryRow& before, const SummaryRow& last,
                                      double target) {
  const double growth = last.norm.total - before.norm.total;
  const bool brackets = before.misfit > target && target > last.misfit && last.misfit > 0.0;
  if (!brackets || !(growth > 0.0)) return std::nullopt;
  const double slope = target * std::log(before.misfit / last.misfit) / growth;
  return std::clamp(slope, std::min(before.beta, last.beta), std::max(before.beta, last.beta));
}

}  // namespace quorivex
