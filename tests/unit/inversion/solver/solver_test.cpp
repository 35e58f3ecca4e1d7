// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

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

constexpr double kBeta = 30.0;

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

  void set_bounds(double most) {
    bounds = {std::vector<double>(n, -most), std::vector<double>(n, most)};
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
    formrhs(problem(), at.model, at.value.predicted, kBeta, g);
    return g;
  }

  CgResult update(CurrentModel& model, LinsolvState& state) const {
    return linsolv(
        problem(), kBeta, 1e-13, 2000, [](auto, auto) {}, model, state);
  }

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
  double most = 0.0;
  for (const double value : values) most = std::max(most, std::abs(value));
  return most;
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
      const double above = with.current(m).value.total(kBeta);
      m[i] -= 1.0;
      const double slope = above - with.current(m).value.total(kBeta);
      m[i] += 0.5;
      EXPECT_NEAR(g[i], -0.5 * slope, 1e-9 * largest(g)) << "cell " << i + 1;
    }
  }
}

// Any error in the operator, the right-hand side, the preconditioner or the iteration.
TEST(Linsolv, WithoutBoundsOneUpdateIsTheDenseSolution) {
  const Inversion with(true);
  CurrentModel model = with.current(std::vector<double>(with.n, 0.1));
  std::vector<std::vector<double>> A(with.n, std::vector<double>(with.n));
  AprodWork work(with.problem());
  for (std::size_t c = 0; c < with.n; ++c) {
    std::vector<double> unit(with.n);
    unit[c] = 1.0;
    aprod(with.problem(), std::vector<std::int32_t>(with.n, 1), kBeta, unit, A[c], work);
  }
  const std::vector<double> dm = dense_solve(A, with.right_hand_side(model));
  LinsolvState state;
  EXPECT_LT(with.update(model, state).residual, 1e-13);
  EXPECT_EQ(state.ntrunc, 0);
  for (std::size_t i = 0; i < with.n; ++i)
    EXPECT_NEAR(model.model[i], 0.1 + dm[i], 1e-7 * largest(dm)) << "cell " << i + 1;
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

// Equality counts as reaching a bound; the list begins anew.
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
