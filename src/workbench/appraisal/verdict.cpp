// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/verdict.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "inversion/solver/next_beta.h"

namespace quorivex {
namespace {

constexpr double kNotable = 0.15;       // correlation of residuals
constexpr double kGathered = 4.5;       // standard errors of a square's mean
constexpr double kEdgeShare = 0.2;      // of the model's farthest departure from its median
constexpr double kCellsToDatum = 1.25;  // half-gaps between lines of five cells
constexpr double kMeanOff = 0.25;       // standard deviations
constexpr double kCertain = 4.0;        // standard errors

std::string percent(double share) {
  const double value = 100.0 * share;
  return value > 0.0 && value < 1.0 ? fmt::format("{:.1g} %", value)
                                    : fmt::format("{:.0f} %", value);
}

void flag_pattern(const RunFacts& f, std::vector<RedFlag>& flags) {
  const SpatialCorrelation found = f.residuals.correlation.value_or(SpatialCorrelation{});
  std::string pattern;
  if (found.significant && found.correlation > kNotable) {
    pattern = fmt::format(
        "Data within {:.0f} m of each other have residuals with a correlation of {:.2f}; "
        "independent errors have none. ",
        found.side, found.correlation);
  }
  // Among n squares the farthest is off by about sqrt(2 ln n) standard errors by chance.
  const double by_chance = std::sqrt(2.0 * std::log(std::max(found.squares, 1.0)));
  if (found.standard_errors > std::max(kGathered, by_chance + 1.0)) {
    pattern += fmt::format(
        "Data within {:.0f} m of easting {:.0f} m, northing {:.0f} m are off to the same side, by "
        "{:+.1f} standard deviations on average. ",
        0.5 * found.side, found.easting, found.northing, found.mean);
  }
  if (!pattern.empty()) {
    flags.push_back({"Residuals have a pattern",
                     pattern + "The model does not explain something in the data: see the map of "
                               "residuals."});
  }
  const double certain = kCertain * std::sqrt(f.residuals.per_datum / std::max(f.ndata, 1));
  if (std::abs(f.residuals.mean) > std::max(kMeanOff, certain)) {
    flags.push_back(
        {"Residuals are biased",
         fmt::format("Their mean is {:+.2f} standard deviations. A constant or a regional field is "
                     "left in the data, or the mesh is too small to explain it.",
                     f.residuals.mean)});
  }
}

void flag_edges(const RunFacts& f, std::vector<RedFlag>& flags) {
  std::string sides;
  for (const MeshEdge& edge : f.model.edges) {
    if (edge.departure < kEdgeShare) continue;
    sides += fmt::format("{}{} ({:.3g})", sides.empty() ? "" : ", ", edge.side, edge.value);
  }
  if (sides.empty()) return;
  flags.push_back(
      {"Susceptibility at the edge of the mesh",
       fmt::format("Cells at the edge stand out from the median of {:.3g}: {}. The model "
                   "puts there what it cannot put inside: widen or deepen the mesh, or "
                   "take a regional field out of the data.",
                   f.model.median, sides)});
}

/// How the chi-squared per datum compares with 1.
std::string describe_fit(double per_datum) {
  if (per_datum > 1.5) return "more than expected from the standard deviations";
  if (per_datum < 0.5) return "less than expected from the standard deviations";
  return "about as expected from the standard deviations";
}

std::string describe_bounds(const RunFacts& f) {
  if (f.at_bounds == 0) return "No cell is held at a bound.";
  const auto share = static_cast<double>(f.at_bounds) /
                     static_cast<double>(std::max<std::int64_t>(f.active_cells, 1));
  const std::string which =
      f.bounds_known ? fmt::format("{} at the lower, {} at the upper", f.at_lower, f.at_upper)
                     : "at which is unknown, because the run has replaced the file of its bounds";
  return fmt::format("{} of {} active cells ({}) are held at a bound: {}.", f.at_bounds,
                     f.active_cells, percent(share), which);
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

std::vector<RedFlag> red_flags(const RunFacts& f) {
  std::vector<RedFlag> flags;
  flag_pattern(f, flags);
  flag_edges(f, flags);
  if (f.at_upper > 0) {
    flags.push_back(
        {"Susceptibility at the upper bound",
         fmt::format("{} cells would be more susceptible if they were allowed to. Raise "
                     "the upper bound, unless it is known to hold.",
                     f.at_upper)});
  }
  if (f.gap > kCellsToDatum * f.narrowest_cell) {
    flags.push_back(
        {"Data coarser than the cells",
         fmt::format("Half of the places between the data are {:.3g} m or more away from the "
                     "nearest datum, the narrowest cells are {:.3g} m wide. Details of a few cells "
                     "come from the smoothing there, not from the data.",
                     f.gap, f.narrowest_cell)});
  }
  return flags;
}

bool reached(const RunFacts& f) { return f.target && target_reached(f.misfit, *f.target); }

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
  } else if (reached(f)) {
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
  if (f.ending.empty() || reached(f)) return "";
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
  v.sentences.push_back(fmt::format("Chi-squared is {:.3g} per datum, {}.", f.residuals.per_datum,
                                    describe_fit(f.residuals.per_datum)));
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
