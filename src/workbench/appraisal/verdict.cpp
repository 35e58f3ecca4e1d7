// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/verdict.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "workbench/appraisal/fit_rules.h"

namespace quorivex {
namespace {

std::string percent(double share) {
  const double value = 100.0 * share;
  return value > 0.0 && value < 1.0 ? fmt::format("{:.1g} %", value)
                                    : fmt::format("{:.0f} %", value);
}

std::string describe_chi_squared(const RunFacts& f) {
  const double value = f.residuals.per_datum;
  const ChiSquared fit = judge_chi_squared(value, f.ndata);
  const auto [min, max] = expected_chi_squared(f.ndata);
  const char* compared = fit == ChiSquared::expected ? "as"
                         : fit == ChiSquared::low    ? "less than"
                                                     : "more than";
  return fmt::format(
      "Chi-squared is {:.3g} per datum, {} expected from the standard deviations ({:.2f} to {:.2f} "
      "for {} data).",
      value, compared, min, max, f.ndata);
}

std::string describe_bounds(const RunFacts& f) {
  if (f.at_bounds == 0) return "No cell is held at a bound.";
  const auto share = static_cast<double>(f.at_bounds) /
                     static_cast<double>(std::max<std::int64_t>(f.active_cells, 1));
  return fmt::format(
      "{} of {} active cells ({}) are held at a bound: {} at the lower, {} at the upper.",
      f.at_bounds, f.active_cells, percent(share), f.at_lower, f.at_upper);
}

std::string describe_largest(const LargestResidual& r) {
  return fmt::format(
      "The largest residual is {:+.1f} standard deviations, at datum {} (easting {:.0f} m, "
      "northing {:.0f} m).",
      r.normalised, r.number, r.easting, r.northing);
}

std::string describe_outliers(const RunFacts& f) {
  if (f.residuals.beyond_four == 0) return "No datum is off by more than four standard deviations.";
  return fmt::format(
      "{} of {} data are off by more than four standard deviations; for "
      "Gaussian errors one would expect 1 in 16,000.",
      f.residuals.beyond_four, f.ndata);
}

/// Mark, headline and level by the target alone.
Verdict judge_misfit(const RunFacts& f, bool doubts) {
  Verdict v;
  v.level = doubts ? Level::warning : Level::good;
  const std::string iterations =
      fmt::format("after {} {}", f.iteration, f.iteration == 1 ? "iteration" : "iterations");
  if (!f.target) {
    v.mark = "No target";
    v.headline =
        fmt::format("beta was fixed, so there is no target; the misfit is {:.4g} for {} data {}.",
                    f.misfit, f.ndata, iterations);
  } else if (closer_than_asked(f.misfit, *f.target)) {
    v.mark = "Target overshot";
    v.headline = fmt::format(
        "The model fits the data closer than was asked: misfit {:.4g}, {:.2g} of the target of "
        "{:.4g}, {}.",
        f.misfit, f.misfit / *f.target, *f.target, iterations);
  } else if (reached_target(f)) {
    v.mark = doubts ? "Target reached, with doubts" : "Target reached";
    v.headline = fmt::format(
        "The model fits the data as closely as was asked: misfit {:.4g}, target {:.4g}, {}.",
        f.misfit, *f.target, iterations);
  } else {
    v.level = Level::bad;
    v.mark = "Target not reached";
    const std::string times = *f.target > 0.0
                                  ? fmt::format("{:.3g} times the target of", f.misfit / *f.target)
                                  : "with a target of";
    v.headline = fmt::format(
        "The model does not fit the data as closely as was asked: misfit {:.4g}, {} {:.4g}, {}.",
        f.misfit, times, *f.target, iterations);
  }
  return v;
}

/// What is worth saying of the end of the run; may be empty.
std::string describe_ending(const RunFacts& f) {
  if (!f.ended && f.ending.empty()) return "The run was interrupted or is still running.";
  if (!f.ended) return fmt::format("The run stopped early: {}", f.ending);
  if (f.ending.empty() || reached_target(f)) return "";
  return fmt::format("The run ended with: {}", f.ending);
}

Verdict verdict_on(const RunFacts& f, bool flagged) {
  const bool earlier = f.iteration < f.iterations_made;
  Verdict v = judge_misfit(f, flagged || earlier);
  if (earlier) {
    v.mark = fmt::format("Iteration {} of {}", f.iteration, f.iterations_made);
    v.headline = fmt::format(
        "This is iteration {} and not the result of the run, which made {}: files of later "
        "iterations are missing. {}",
        f.iteration, f.iterations_made, v.headline);
  }
  if (!f.mismatched_survey_parts.empty()) {
    v.level = Level::bad;
    v.sentences.push_back(v.headline);
    v.mark = "Wrong observations";
    v.headline = fmt::format(
        "The sensitivity file was made for other observations ({} differ): either they were "
        "changed after the run, or its model and data belong to different surveys.",
        fmt::join(f.mismatched_survey_parts, ", "));
  }
  const std::string ending = describe_ending(f);
  if (!ending.empty()) v.sentences.push_back(ending);
  v.sentences.push_back(describe_chi_squared(f));
  v.sentences.push_back(describe_outliers(f));
  v.sentences.push_back(describe_largest(f.largest));
  v.sentences.push_back(describe_bounds(f));
  return v;
}

}  // namespace

Appraisal appraise(RunFacts facts) {
  Appraisal appraisal;
  appraisal.flags = red_flags(facts);
  appraisal.verdict = verdict_on(facts, !appraisal.flags.empty());
  appraisal.facts = std::move(facts);
  return appraisal;
}

}  // namespace quorivex
