// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "base/stop_run.h"
#include "compressed.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/objective/calc_wtw_mod.h"
#include "inversion/sensitivity/getpar.h"
#include "inversion/sensitivity/products.h"
#include "inversion/solver/linsolv.h"
#include "inversion/solver/normal_equations.h"
#include "scratch_folder.h"
#include "values.h"

namespace quorivex::test {
namespace {

/// An inversion of a small survey with inactive cells, from random models and data.
struct Inversion {
  explicit Inversion(bool influence_cells, bool mref_in_derivatives = false,
                     bool compressed_rows = false)
      : influence(influence_cells),
        smooth_mod_dif(mref_in_derivatives),
        compressed(compressed_rows) {
    data.obs = values_of_seed(as_size(file.sens.ndata), 4);
    for (std::size_t i = 0; i < data.obs.size(); ++i) data.std.push_back(i % 2 == 0 ? 2.0 : 4.0);
    diagonals = calc_diagonals(file.sens.gdiag, data.std, active, weights);
    set_bounds(1e6);
    EXPECT_EQ(active.influence_cells > 0, influence) << "the codes are those of air cells";
  }

  void set_bounds(double bound) {
    bounds = {std::vector<double>(n, -bound), std::vector<double>(n, bound)};
  }

  /// Makes `model` the reference and its predictions the data: phi is 0 there.
  void set_minimum(const std::vector<double>& model) {
    mref = model;
    data.obs = evaluate_objective(problem(), model).predicted;
  }

  Problem problem() const {
    return {file.sens,      active, fixed,   data,     mref,
            smooth_mod_dif, bounds, weights, inactive, diagonals};
  }

  CurrentModel current(const std::vector<double>& model) const {
    return {model, evaluate_objective(problem(), model)};
  }

  std::vector<double> right_hand_side(const CurrentModel& at) const {
    std::vector<double> g(n);
    formrhs(problem(), at.model, at.value.predicted, beta, g);
    return g;
  }

  CgResult update(CurrentModel& model, LinsolvState& state) const {
    return linsolv(problem(), beta, {1e-13, 2000, [](auto, auto) {}}, model, state);
  }

  double beta = 30.0;
  bool influence;
  bool smooth_mod_dif;
  bool compressed;
  ScratchFolder folder;
  Survey survey = make_survey({6, 2, 5});  // on a grid of 8 x 2 x 8 points
  SensitivityFile file =
      getpar(folder.write("sens.mtx", framed(compressed ? compressed_records(survey, 6)
                                                        : sensitivity_records(survey))));
  std::string codes = influence ? " 1 1 -1 1 1 1 0 1 3*1 -1" : " 1 1 0 5*1 0 3*1";
  ActiveCells active =
      get_active_cells(folder.write("act", codes + codes + codes + codes + codes), file.ground);
  std::size_t n = as_size(active.ncell);
  FixedValues fixed{values_of_seed(as_size(active.zero_cells), 1),
                    values_of_seed(as_size(active.influence_cells), 2)};
  std::vector<double> mref = values_of_seed(n, 3);
  Observations data;
  Bounds bounds;
  WeightingOperators weights =
      calc_W_components("null", file.ground->mesh, active, {0.01, 1, 2, 3});
  InactiveTerms inactive = calc_inactive_cell_components(weights, fixed.influence);
  Diagonals diagonals;
};

double largest(const std::vector<double>& values) {
  double maximum = 0.0;
  for (const double value : values) maximum = std::max(maximum, std::abs(value));
  return maximum;
}

/// Gauss-Jordan elimination without pivoting: enough for a positive definite matrix.
std::vector<double> dense_solve(std::vector<std::vector<double>> A, std::vector<double> b) {
  for (std::size_t k = 0; k < b.size(); ++k) {
    for (std::size_t r = 0; r < b.size(); ++r) {
      const double factor = r == k ? 0.0 : A[r][k] / A[k][k];
      for (std::size_t c = 0; c < b.size(); ++c) A[r][c] -= factor * A[k][c];
      b[r] -= factor * b[k];
    }
  }
  for (std::size_t k = 0; k < b.size(); ++k) b[k] /= A[k][k];
  return b;
}

// Rows in the wrong order, a mapping that shifts cells, gtgprod that drops one of its halves.
TEST(Products, AreAdjointAndComposeInBothForms) {
  for (const bool compressed : {false, true}) {
    const Inversion s(true, false, compressed);
    const std::vector<double> m = values_of_seed(s.n, 1);
    const std::vector<double> d = values_of_seed(as_size(s.file.sens.ndata), 2);
    const FixedValues zeros = split_reference(s.active, std::vector<double>(60));
    std::vector<double> full(60);
    active_to_full(s.active, zeros, m, full);
    std::vector<double> gm(d.size());
    std::vector<double> gtd(s.n);
    gprod(s.file.sens, s.active, full, gm);
    gtprod(s.file.sens, s.active, d, gtd);
    EXPECT_NEAR(dot(d, gm), dot(m, gtd), 1e-12 * std::abs(dot(d, gm)));

    std::vector<double> once(s.n);
    gtprod(s.file.sens, s.active, gm, gtd);
    GtgprodWork work(s.file.sens, s.active);
    gtgprod(s.file.sens, s.active, m, once, work);
    for (std::size_t i = 0; i < s.n; ++i) EXPECT_NEAR(once[i], gtd[i], 1e-11 * largest(gtd));
  }
}

// A row scattered to other cells than those it is gathered from, influence cells left out of the
// data: a file that keeps every coefficient is the full file but for the rounding of floats.
TEST(Products, OfACompressedFileWithAllCoefficientsAreThoseOfTheFullFile) {
  const Inversion full(true);
  const Inversion compressed(true, false, true);
  const CurrentModel a = full.current(values_of_seed(full.n, 7));
  const CurrentModel b = compressed.current(a.model);
  for (std::size_t i = 0; i < a.value.predicted.size(); ++i)
    EXPECT_NEAR(a.value.predicted[i], b.value.predicted[i], 1e-6 * largest(a.value.predicted));
  const std::vector<double> g = full.right_hand_side(a);
  const std::vector<double> g_compressed = compressed.right_hand_side(a);
  for (std::size_t i = 0; i < g.size(); ++i)
    EXPECT_NEAR(g[i], g_compressed[i], 1e-6 * largest(g)) << "cell " << i + 1;
}

// A vector of any other length than those that a product is defined for.
TEST(Products, RefuseVectorsOfOtherLengths) {
  const auto refusal = [](auto action) -> std::string {
    try {
      action();
    } catch (const StopRun& stop) {
      return std::string(stop.message());
    }
    return "accepted";
  };
  for (const bool compressed : {false, true}) {
    const Inversion s(true, false, compressed);
    std::vector<double> odd(s.n + 1);
    std::vector<double> d(as_size(s.file.sens.ndata));
    EXPECT_EQ(refusal([&] { gprod(s.file.sens, s.active, odd, d); }),
              compressed ? "size(x) /= # of cells" : "problem in gprod");
  }
  const Inversion s(true);
  std::vector<double> model(s.n);
  std::vector<double> below(s.file.sens.wtz.size());
  std::vector<double> odd(below.size() + 1);
  EXPECT_EQ(refusal([&] { below_to_active(s.active, odd, model); }), "idx1 /= size(m1)");
  EXPECT_EQ(refusal([&] { below_to_active(s.active, below, odd); }), "size(m2) /= ncell");
  EXPECT_EQ(refusal([&] { active_to_below(s.active, odd, below); }), "size(m2) /= ncell");
  EXPECT_EQ(refusal([&] { active_to_below(s.active, model, odd); }), "idx1 /= size(m1)");
  EXPECT_EQ(refusal([&] { full_to_below(*s.active.ground, std::vector<double>(60), odd); }),
            "idx1 /= size(amodel)");
  EXPECT_EQ(refusal([&] { s.current(odd); }), "size(amodel) /= ncell");
}

// A sign, a forgotten influence term, the reference model in the wrong terms. The objective is
// quadratic, so that central differences carry rounding errors only.
TEST(RightHandSide, IsMinusHalfTheGradientOfTheObjective) {
  for (const auto& [influence, mref_in_derivatives] :
       {std::pair{true, false}, {false, false}, {false, true}}) {
    const Inversion with(influence, mref_in_derivatives);
    std::vector<double> m = values_of_seed(with.n, 5);
    const std::vector<double> g = with.right_hand_side(with.current(m));
    for (std::size_t i = 0; i < g.size(); ++i) {
      m[i] += 0.5;
      const double above = with.current(m).value.total(with.beta);
      m[i] -= 1.0;
      const double slope = above - with.current(m).value.total(with.beta);
      m[i] += 0.5;
      EXPECT_NEAR(g[i], -0.5 * slope, 1e-9 * largest(g)) << "cell " << i + 1;
    }
  }
}

/// The step to the minimum of the objective, all cells free.
std::vector<double> dense_step(const Inversion& with, const CurrentModel& model) {
  std::vector<std::vector<double>> A(with.n, std::vector<double>(with.n));
  AprodWork work(with.problem());
  for (std::size_t c = 0; c < with.n; ++c) {
    std::vector<double> unit(with.n);
    unit[c] = 1.0;
    aprod(with.problem(), std::vector<std::int32_t>(with.n, 1), with.beta, unit, A[c], work);
  }
  return dense_solve(A, with.right_hand_side(model));
}

// Any error in the operator, the right-hand side, the preconditioner or the iteration.
TEST(Linsolv, WithoutBoundsOneUpdateIsTheDenseSolution) {
  const Inversion with(true);
  CurrentModel model = with.current(std::vector<double>(with.n, 0.1));
  const std::vector<double> dm = dense_step(with, model);
  LinsolvState state;
  EXPECT_LT(with.update(model, state).residual, 1e-13);
  EXPECT_EQ(state.ntrunc, 0);
  for (std::size_t i = 0; i < with.n; ++i)
    EXPECT_NEAR(model.model[i], 0.1 + dm[i], 1e-7 * largest(dm)) << "cell " << i + 1;
}

// Fewer halvings, another step than the first that lowers the objective, an objective of the
// current model at another beta. The bounds of every second cell cut it out of the step, which then
// raises the objective until it is short enough for all cells to move together.
TEST(Linsolv, HalvesTheStepUntilTheObjectiveFalls) {
  Inversion with(false, true);
  with.set_minimum(std::vector<double>(with.n, 1.0));
  with.beta = 1e9;
  for (double& smallness : with.weights.Ws) smallness *= 0.01;
  for (std::size_t i = 0; i < with.n; i += 2) with.bounds.upper[i] = 0.025;
  CurrentModel model = with.current(std::vector<double>(with.n));
  const std::vector<double> dm = dense_step(with, model);
  const double phi = model.value.total(with.beta);
  std::vector<double> expected(with.n);
  int halvings = -1;
  double trial_phi = phi;
  while (trial_phi >= phi) {
    ++halvings;
    for (std::size_t i = 0; i < with.n; ++i)
      expected[i] = std::min(std::ldexp(dm[i], -halvings), with.bounds.upper[i]);
    trial_phi = with.current(expected).value.total(with.beta);
  }
  EXPECT_GT(halvings, 3);
  LinsolvState state;
  with.update(model, state);
  for (std::size_t i = 0; i < with.n; ++i) EXPECT_NEAR(model.model[i], expected[i], 1e-7);
}

// Another share than a tenth, or of another move than the largest.
TEST(Linsolv, AHeldCellOfLargeGradientMovesByATenthOfTheLargestFreeMove) {
  const Inversion with(false);
  CurrentModel model = with.current(std::vector<double>(with.n));
  LinsolvState state{std::vector<std::int32_t>(with.n), 2};
  state.truncated[0] = 3;
  state.truncated[1] = 20;
  const std::vector<double> g = with.right_hand_side(model);
  with.update(model, state);
  std::vector<double> held{model.model[2], model.model[19]};
  model.model[2] = model.model[19] = 0.0;
  EXPECT_NEAR(largest(held), 0.1 * largest(model.model), 1e-12 * largest(model.model));
  EXPECT_NEAR(held[0] * g[19], held[1] * g[2], 1e-12 * std::abs(held[0] * g[19]));
  EXPECT_GT(held[0] * g[2], 0.0) << "along the gradient of phi, uphill";
}

// An end as soon as the square of the residual overflows.
TEST(ConjugateGradients, GoOnWhenTheSquareOfTheResidualOverflows) {
  const std::vector<double> diagonal{1.0, 2.0, 4.0};
  const auto apply = [&](View1<const double> x, View1<double> y) {
    for (std::int64_t i = 1; i <= 3; ++i) y(i) = diagonal[as_size(i - 1)] * x(i);
  };
  const std::vector<double> P(3, 1e-20);
  const RowPieces rows({0, 3}, make_ground(make_mesh(0, 0, 0, {1}, {1}, {1}), {1, 1, {0}}).slab,
                       "test");
  std::vector<double> r(3, 1e160);
  std::vector<double> dm(3);
  const CgResult result = conjugate_gradients(apply, rows, P, {1e-3, 50, [](auto, auto) {}}, r, dm);
  EXPECT_EQ(result.residual, 0.0);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(dm[i] * diagonal[i], 1e160, 1e150);
}

// A cell that is frozen for ever, one that is not frozen or leaks into the product, a list that is
// not renewed.
TEST(Linsolv, HoldsCellsOnABoundAndLetsThemGo) {
  Inversion with(false);
  with.set_bounds(0.2);
  CurrentModel model = with.current(std::vector<double>(with.n));
  LinsolvState state;
  with.update(model, state);
  std::vector<std::int32_t> held;
  for (std::size_t i = 0; i < with.n; ++i) {
    EXPECT_LE(std::abs(model.model[i]), 0.2);
    if (std::abs(model.model[i]) == 0.2) held.push_back(static_cast<std::int32_t>(i + 1));
  }
  ASSERT_GT(held.size(), 1U);
  state.truncated.resize(as_size(state.ntrunc));
  EXPECT_EQ(state.truncated, held);
  state.truncated.resize(with.n);
  // Turn the data round: the gradient of held cells now points inward and they must move.
  for (double& value : with.data.obs) value = -value;
  for (double& value : with.mref) value = -value;
  const std::vector<double> before = model.model;
  model = with.current(before);
  with.update(model, state);
  std::vector<double> held_moves;
  std::vector<double> free_moves;
  for (std::size_t i = 0; i < with.n; ++i) {
    const bool was_held = std::abs(before[i]) == 0.2;
    (was_held ? held_moves : free_moves).push_back(model.model[i] - before[i]);
  }
  EXPECT_GT(largest(held_moves), 0.0);
  // Never by more than a tenth of the largest free step, which projection may have shortened.
  EXPECT_LE(largest(held_moves), largest(free_moves));
}

// Equality not counted as reaching a bound; a list that goes on from the last one.
TEST(Projection, SetsAndListsCellsAtOrBeyondABound) {
  std::vector<double> model{-0.5, 1.0, 0.5, 0.0};
  LinsolvState state{std::vector<std::int32_t>(4), 3};
  project_on_bounds({std::vector<double>(4, 0.0), std::vector<double>(4, 1.0)}, model, state);
  EXPECT_EQ(model, (std::vector{0.0, 1.0, 0.5, 0.0}));
  EXPECT_EQ(state.ntrunc, 3);
  EXPECT_EQ(state.truncated, (std::vector{1, 2, 4, 0}));
}

// gdiag taken by position instead of by cell, or scaled datum by datum.
TEST(Diagonals, OfTheDataAreThoseOfTheActiveCellsScaledByTheMeanInverseDeviation) {
  const Inversion with(true);
  std::vector<double> expected(with.n);
  below_to_active(with.active, with.file.sens.gdiag, expected);
  double trace = 0.0;
  for (std::size_t i = 0; i < with.n; ++i) {
    EXPECT_DOUBLE_EQ(with.diagonals.gdiag[i], expected[i] * 0.375 * 0.375);  // of 1/2 and 1/4
    trace += with.diagonals.gdiag[i];
  }
  EXPECT_NEAR(with.diagonals.data_trace, trace, 1e-12 * trace);
}

}  // namespace
}  // namespace quorivex::test
