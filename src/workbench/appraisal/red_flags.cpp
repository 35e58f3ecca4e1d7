// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/red_flags.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/atomic_file.h"
#include "inversion/input/program_name.h"
#include "workbench/appraisal/fit_rules.h"

namespace quorivex {
namespace {

constexpr double kNotable = 0.15;       // correlation of residuals
constexpr double kGathered = 4.5;       // standard errors of a square's mean
constexpr double kEdgeShare = 0.2;      // of the model's farthest departure from its median
constexpr double kCellsToDatum = 1.25;  // half-gaps between lines of five cells
constexpr double kMeanOff = 0.25;       // standard deviations
constexpr double kCertain = 4.0;        // standard errors

// What the data do not tell apart from a fault of mesh, smoothing or regional field.
constexpr const char* kFieldOrRemanence =
    "the direction of the field is wrong (sign of the inclination), or the rock carries remanent "
    "magnetisation";

/// What to do about a run whose data are fitted poorly although no target was missed.
std::string advice_to_fit(const RunFacts& f) {
  if (f.target) {
    return "The target itself is that far off: lower chifact, unless the standard deviations are "
           "too small.";
  }
  const std::string source =
      "Run mode 1 and take beta from the table in quorivex.out, where each iteration has its beta "
      "and misfit.";
  if (f.beta_chosen) {
    return fmt::format(
        "The run kept beta at {:.3g}, the value at which mode 1 starts; it is meant "
        "to be lowered and usually much too large. {}",
        f.beta, source);
  }
  return fmt::format(
      "A beta of {:.3g} is too large for these data, unless they cannot be fitted: "
      "standard deviations too small, bounds too narrow, or {}. {}",
      f.beta, kFieldOrRemanence, source);
}

/// What to do about a run that ended far below its target.
std::string advice_to_go_back(const RunFacts& f) {
  const double target = f.target.value();
  if (!f.before) {
    return fmt::format("Run mode 2 with a beta above {:.2g}, that of this iteration.", f.beta);
  }
  const SummaryRow last{.iteration = f.iteration, .misfit = f.misfit, .norm = f.norm};
  const SummaryRow& before = *f.before;
  const auto distance = [&](double misfit) { return std::abs(std::log(misfit / target)); };
  std::string advice;
  if (distance(before.misfit) < distance(f.misfit)) {
    advice = fmt::format("Take the iteration before ({}, {:.2f} of the target), or run",
                         numbered_name(kProgram, before.iteration, "sus"), before.misfit / target);
  } else {
    advice = "Run";
  }
  if (const auto beta = beta_for_target(before, last, target)) {
    return advice + fmt::format(
                        " mode 2 with a beta of about {:.2g}, the slope of the misfit against the "
                        "model norm at the target, between the last two iterations.",
                        *beta);
  }
  return advice + fmt::format(
                      " mode 2 with a beta between those of the last two iterations, "
                      "{:.2g} and {:.2g}.",
                      f.beta, before.beta);
}

/// A misfit far below its target, or far from what the standard deviations lead to expect; the
/// verdict itself says that a target was missed.
void flag_fit(const RunFacts& f, std::vector<RedFlag>& flags) {
  const double per_datum = f.residuals.per_datum;
  const ChiSquared fit = judge_chi_squared(per_datum, f.ndata);
  const auto [min, max] = expected_chi_squared(f.ndata);
  const bool running = !f.ended && f.ending.empty();
  const std::string expected = fmt::format(
      "{:.3g} per datum; {} data with right standard deviations lead to {:.2f} to {:.2f}",
      per_datum, f.ndata, min, max);
  if (f.target && closer_than_asked(f.misfit, *f.target)) {
    flags.push_back(
        {"Closer than was asked",
         fmt::format("The misfit is {:.2g} of its target: the model has more structure than was "
                     "asked for{}. Mode 1 lowers beta by up to a half from one iteration to the "
                     "next, also while the model has not yet reached its minimum at that beta; "
                     "when it then catches up, it may pass the target. {}",
                     f.misfit / *f.target, fit == ChiSquared::low ? ", and fits noise" : "",
                     advice_to_go_back(f))});
  } else if (fit == ChiSquared::low) {
    flags.push_back({"Fits noise",
                     fmt::format("Chi-squared is {}. The model follows the errors of the data, or "
                                 "the standard deviations are too large. {}",
                                 expected,
                                 f.target ? "Raise chifact to 1, or correct them."
                                          : "Raise beta, or correct them.")});
  } else if (fit == ChiSquared::far_off && (f.target ? reached_target(f) : !running)) {
    flags.push_back({"Far from fitting the data",
                     fmt::format("Chi-squared is {}. {}", expected, advice_to_fit(f))});
  }
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
    flags.push_back(
        {"Residuals have a pattern",
         fmt::format("{}The model does not explain something in the data: see the map "
                     "of residuals. Cells may be too coarse or the smoothing too strong "
                     "for a shallow source, the mesh too small or shallow, a regional "
                     "field left in the data; or {}.",
                     pattern, kFieldOrRemanence)});
  }
  const double certain = kCertain * std::sqrt(f.residuals.per_datum / std::max(f.ndata, 1));
  if (std::abs(f.residuals.mean) > std::max(kMeanOff, certain)) {
    flags.push_back(
        {"Residuals are biased",
         fmt::format(
             "Their mean is {:+.2f} standard deviations. A constant or a regional field is "
             "left in the data, or the mesh is too small or too shallow to explain it; or {}.",
             f.residuals.mean, kFieldOrRemanence)});
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
                   "take a regional field out of the data. Otherwise perhaps {}.",
                   f.model.median, sides, kFieldOrRemanence)});
}

}  // namespace

std::vector<RedFlag> red_flags(const RunFacts& f) {
  std::vector<RedFlag> flags;
  flag_fit(f, flags);
  for (const std::string& warning : f.warnings) flags.push_back({"Stations or terrain", warning});
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

}  // namespace quorivex
