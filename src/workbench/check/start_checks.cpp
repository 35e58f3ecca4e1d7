// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/start_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "base/free_format.h"
#include "inversion/input/conventions.h"
#include "inversion/solver/normal_equations.h"
#include "inversion/solver/objective_value.h"

namespace quorivex {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLowChifact = 0.1;
constexpr double kFitsNoise = 0.5;     // chifact up to which a note says so
constexpr double kLeavesSignal = 2.0;  // chifact from which a note says so
constexpr double kMaxWorse =
    100.0;  // misfit of the initial model, relative to that of the zero model
// Conjugate-gradient iterations of whole runs: 10 to 25 iterations to a target, or 3 to 10 with a
// fixed beta, take 20 to 40 of them each.
constexpr std::array<double, 2> kIterationsToTarget{200.0, 1000.0};
constexpr std::array<double, 2> kIterationsAtBeta{60.0, 400.0};

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string format_duration(double seconds) {
  if (seconds >= 2.0 * 3600.0) return fmt::format("{:.1f} hours", seconds / 3600.0);
  if (seconds >= 120.0) return fmt::format("{:.0f} minutes", seconds / 60.0);
  if (seconds >= 10.0) return fmt::format("{:.0f} s", seconds);
  return fmt::format("{:.2g} s", seconds);
}

void compare_lengths(const LengthScales& lengths, const Mesh& mesh) {
  const auto compare = [&](const char* axis, double length_m, const std::vector<double>& widths) {
    const double least = *std::min_element(widths.begin(), widths.end());
    if (length_m < least) {
      Findings::note(fmt::format(
          "the length scale along {}, {:.4g} m, is less than a cell ({:.4g} m): hardly any\n"
          "smoothing in that direction",
          axis, length_m, least));
    }
  };
  compare("easting", lengths.e, mesh.de);
  compare("northing", lengths.n, mesh.dn);
  compare("depth", lengths.z, mesh.dz);
}

/// Seconds of one iteration of the conjugate gradients, from the second of two products.
double seconds_of_iteration(const Problem& problem, double beta, View1<const double> model) {
  const std::vector<std::int32_t> free =
      allocate<std::int32_t>(as_size(model.size()), "check_start", 1);
  std::vector<double> product = allocate<double>(as_size(model.size()), "check_start");
  AprodWork work(problem);
  aprod(problem, free, beta, model, product, work);
  constexpr double kMinMeasured = 0.2;  // seconds
  double fastest = std::numeric_limits<double>::infinity();
  const Clock::time_point begin = Clock::now();
  do {
    const Clock::time_point start = Clock::now();
    aprod(problem, free, beta, model, product, work);
    fastest = std::min(fastest, seconds_since(start));
  } while (seconds_since(begin) < kMinMeasured);
  return fastest;
}

void check_target_in_reach(const Target& target, double misfit, double misfit_of_zero,
                           Findings& findings) {
  if (std::signbit(target.misfit)) {  // the excess over it, as a part of it, is negative then
    findings.warning(
        "chifact should be positive: with this target the run takes it as reached, and ends, "
        "after\n"
        "its first iteration");
  } else if (target.misfit == 0.0) {
    findings.warning(
        "chifact should be positive: this target cannot be reached, and the run goes on until it\n"
        "fails to lower the objective function");
  } else if (target.chifact < kLowChifact) {
    findings.warning(fmt::format(
        "chifact {:.4g} asks for residuals of {:.2g} standard deviations on average, which is\n"
        "hardly within reach; 1 fits the data as well as their errors say",
        target.chifact, std::sqrt(target.chifact)));
  } else if (misfit_of_zero <= target.misfit && misfit >= target.misfit) {
    findings.warning(
        "a model of zero everywhere would reach the target: the standard deviations are too large\n"
        "for these data, or data and standard deviations have different units");
  } else if (target.chifact <= kFitsNoise) {
    Findings::note(fmt::format(
        "chifact {:.4g} fits part of the noise, unless the standard deviations are too large",
        target.chifact));
  } else if (target.chifact >= kLeavesSignal) {
    Findings::note(fmt::format(
        "chifact {:.4g} leaves signal in the residuals, unless the standard deviations are too "
        "small",
        target.chifact));
  }
}

void show_time(const InversionParameters& input, double seconds) {
  const auto& iterations = input.mode == 1 ? kIterationsToTarget : kIterationsAtBeta;
  Findings::fact("time of a CG iteration", fmt::format("{}, measured", format_duration(seconds)));
  Findings::fact(
      "time of a run",
      fmt::format("about {} to {}, estimated for {:.0f} to {:.0f} CG iterations",
                  format_duration(seconds * iterations[0]),
                  format_duration(seconds * iterations[1]), iterations[0], iterations[1]));
}

}  // namespace

bool check_alphas(const InversionParameters& input, const Mesh* mesh, RunSetup& setup,
                  Findings& findings) {
  AlphaLine line;
  if (!findings.attempt([&] { line = read_alphas(input.alphaLine); })) return false;
  setup.alphas = line.alphas;
  const Alphas& a = line.alphas;
  Findings::fact("alphas", fmt::format("smallness {:.4g}, easting {:.4g}, northing {:.4g}, depth "
                                       "{:.4g}",
                                       a.s, a.e, a.n, a.z));
  if (a.s > 0.0) {
    Findings::fact("length scales", fmt::format("easting {:.4g}, northing {:.4g}, depth {:.4g} m",
                                                line.lengths.e, line.lengths.n, line.lengths.z));
  }
  Findings::fact("reference model", input.mrefInDerivatives ? "in smallness and differences"
                                                            : "in the smallness alone");
  if (mesh != nullptr && a.s > 0.0) compare_lengths(line.lengths, *mesh);
  return true;
}

void show_weights(const std::string& name, const Mesh& mesh) {
  if (is_null(name)) {
    Findings::fact("3-D weights", "none, 1 everywhere");
    return;
  }
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) return;
  const std::int64_t ne = mesh.ne;
  const std::int64_t nn = mesh.nn;
  const std::int64_t nz = mesh.nz;
  FreeFormat values(*file);
  for (const auto& [term, count] : {std::pair{"smallness", nz * ne * nn},
                                    {"easting", nz * (ne - 1) * nn},
                                    {"northing", nz * ne * (nn - 1)},
                                    {"depth", (nz - 1) * ne * nn}}) {
    double least = std::numeric_limits<double>::infinity();
    double most = 0.0;
    for (std::int64_t i = 0; i < count; ++i) {
      double value = 0.0;
      if (!values.read(value)) return;  // the run's own reader has said so
      least = std::min(least, value);
      most = std::max(most, value);
    }
    if (count > 0) {
      Findings::fact(fmt::format("weights of {}", term),
                     fmt::format("{:.4g} to {:.4g}", least, most));
    }
  }
}

void check_start(const InversionParameters& input, RunSetup& setup, Findings& findings) {
  const Problem problem = setup.problem(input.mrefInDerivatives);
  const ObjectiveValue value = evaluate_objective(problem, setup.models.model);
  const double ndata = setup.data.ndata;
  double misfit_of_zero = 0.0;
  for (const double observed : setup.data.obs) misfit_of_zero += observed * observed;
  const auto per_datum = [&](double misfit) {
    return fmt::format("{:.6g}, {:.4g} per datum", misfit, misfit / ndata);
  };
  Findings::fact("initial misfit", per_datum(value.misfit));
  Findings::fact("misfit of zero model", per_datum(misfit_of_zero));
  if (!std::isfinite(value.misfit) || !std::isfinite(value.norm.total)) {
    findings.error(
        "misfit or norm of the initial model is not a finite number, and no iteration can lower "
        "it;\n"
        "see the warnings about the sensitivity file");
    return;
  }
  const std::optional<Target> target = target_of(input, setup.data.ndata);
  if (target) {
    Findings::fact("target misfit", fmt::format("{:.6g}, chifact {:.4g} times the number of data",
                                                target->misfit, target->chifact));
    findings.attempt([&] { check_target(target, value.misfit); });
    check_target_in_reach(*target, value.misfit, misfit_of_zero, findings);
  }
  if (value.misfit > kMaxWorse * misfit_of_zero) {
    findings.warning(fmt::format(
        "the initial misfit is more than {:g} times the misfit of the zero model: the initial\n"
        "model, or fixed cells of the reference model, are too large, or model and data have\n"
        "different units",
        kMaxWorse));
  }
  const bool given = input.mode == 2 && input.par > 0.0;
  const double chosen = chosen_beta(setup.diagonals);
  const double beta = given ? input.par : chosen;
  if (given) Findings::fact("beta", fmt::format("{:.6g}, as given", beta));
  Findings::fact(given ? "estimated beta" : "beta of the first iteration",
                 fmt::format("{:.6g}, estimated from the diagonals", chosen));
  if (input.mode == 2 && !given) {
    Findings::note(
        "this beta, with which mode 1 starts, is usually far too large to keep; the table in\n"
        "quorivex.out of a mode-1 run has values with their misfits");
  }
  if (!(beta > 0.0) || !std::isfinite(beta)) {
    findings.warning("beta should be a positive number; check gdiag of the sensitivity file");
    return;
  }
  show_time(input, seconds_of_iteration(problem, beta, setup.models.model));
}

}  // namespace quorivex
