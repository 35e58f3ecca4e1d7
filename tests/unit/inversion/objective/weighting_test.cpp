// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/weighting.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "base/stop_run.h"
#include "inversion/objective/bounds.h"
#include "inversion/objective/calc_wtw_mod.h"
#include "inversion/objective/model_norm.h"
#include "scratch_folder.h"
#include "values.h"

namespace quorivex::test {

/// A 3 x 2 x 4 mesh of unequal widths with active, inactive, influence and air cells.
struct MeshOfAllKinds {
  MeshOfAllKinds() {
    mesh.ne = 3;
    mesh.nn = 2;
    mesh.nz = 4;
    mesh.de = {10.0, 20.0, 15.0};
    mesh.dn = {30.0, 12.0};
    mesh.dz = {5.0, 7.0, 9.0, 14.0};
    const std::string codes = "-1 1 -1 -1  1 1 0 1  1 -1 1 1  0 -1 1 1  1 1 1 -1  1 1 1 1";
    const SharedGround ground = share_ground(mesh, {2, 3, {1, 0, 0, 2, 1, 1}});
    active = get_active_cells(folder.write("act.dat", codes), ground);
  }

  struct Row {
    std::size_t term;  ///< 0 to 2: differences along depth, easting, northing; 3: smallness
    std::vector<double> entries = std::vector<double>(24);
  };

  /// The operators from their definition; columns are the cells of the mesh. The weights 1, 2, 3,
  /// ... of a file belong to the cells and then to the easting, northing and vertical pairs.
  std::vector<Row> dense(bool weighted) const {
    const std::array<const std::vector<double>*, 3> widths{&mesh.dz, &mesh.de, &mesh.dn};
    const std::array<double, 3> alpha{alphas.z, alphas.e, alphas.n};
    const std::array<std::size_t, 3> stride{1, 4, 12};
    std::array<double, 4> next_weight{53, 25, 41, 1};
    const auto weight = [&](std::size_t term) { return weighted ? next_weight[term]++ : 1.0; };
    std::vector<Row> rows;
    for (std::size_t c = 0; c < 24; ++c) {
      const std::array<std::size_t, 3> at{c % 4, c / 4 % 3, c / 12};
      const double volume = mesh.dz[at[0]] * mesh.de[at[1]] * mesh.dn[at[2]];
      const double smallness = std::sqrt(weight(3) * alphas.s * volume);
      rows.push_back({3});
      if (active.map[c] > 0) rows.back().entries[c] = smallness;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        if (at[axis] + 1 == widths[axis]->size()) continue;
        const double width = (*widths[axis])[at[axis]];
        const double h = (width + (*widths[axis])[at[axis] + 1]) / 2;
        const double v = std::sqrt(alpha[axis] * weight(axis) * volume / width * h) / h;
        if (active.map[c] == 0 || active.map[c + stride[axis]] == 0) continue;
        rows.push_back({axis});
        rows.back().entries[c] = -v;
        rows.back().entries[c + stride[axis]] = v;
      }
    }
    return rows;
  }

  ScratchFolder folder;
  Mesh mesh;
  ActiveCells active;
  Alphas alphas{0.01, 2.0, 3.0, 5.0};
};

// Axes mixed up, an alpha or a weight at the wrong operator, a one-sided difference at an edge, an
// influence cell in the wrong half: all against the dense definition, norm, product and diagonal.
TEST(Operators, EqualTheDenseDefinition) {
  const MeshOfAllKinds of;
  std::string weights;
  for (int value = 1; value <= 24 + 16 + 12 + 18; ++value) weights += fmt::format("{}\n", value);
  const auto ncell = as_size(of.active.ncell);
  const std::vector<double> model = values_of_seed(ncell, 1);
  const std::vector<double> influence = values_of_seed(as_size(of.active.influence_cells), 2);
  std::vector<double> full;
  for (const std::int32_t map : of.active.map)
    full.push_back(map > 0   ? model[as_size(map - 1)]
                   : map < 0 ? influence[as_size(-map - 1)]
                             : 0.0);
  for (const std::string& file : {std::string("null"), of.folder.write("w.dat", weights)}) {
    const WeightingOperators operators = calc_W_components(file, of.mesh, of.active, of.alphas);
    const InactiveTerms inactive = calc_inactive_cell_components(operators, influence);
    std::array<double, 4> terms{};
    double trace = 0.0;
    std::vector<double> half_gradient(ncell);
    std::vector<double> diagonal(ncell);
    for (const auto& [term, row] : of.dense(file != "null")) {
      const double v = dot(row, full);
      terms[term] += v * v;
      for (std::size_t c = 0; c < 24; ++c) {
        if (of.active.map[c] <= 0) continue;
        half_gradient[as_size(of.active.map[c] - 1)] += row[c] * v;
        diagonal[as_size(of.active.map[c] - 1)] += row[c] * row[c];
        trace += row[c] * row[c];
      }
    }
    const std::vector<double> zero(ncell);
    const ModelNorm norm = calc_model_norm(operators, inactive, false, model, zero);
    EXPECT_EQ(norm.total, norm.s + norm.x + norm.y + norm.z);
    const std::array<double, 4> got{norm.z, norm.y, norm.x, norm.s};
    for (std::size_t term = 0; term < 4; ++term)
      EXPECT_NEAR(got[term], terms[term], 1e-12 * norm.total) << "a term under another's label";
    std::vector<double> product(ncell);
    CALC_WTW_MOD::calc_WTW_vec(operators, model, model, product);
    std::vector<double> got_diagonal(ncell);
    EXPECT_NEAR(CALC_WTW_MOD::calc_WTW_diagonal(operators, got_diagonal), trace, 1e-12 * trace);
    for (std::size_t p = 0; p < ncell; ++p) {
      EXPECT_NEAR(product[p] + inactive.gradient[p], half_gradient[p], 1e-10) << p;
      EXPECT_NEAR(got_diagonal[p], diagonal[p], 1e-10) << p;
    }
  }
}

// A process reads its rows of every array, of which that along northing has one less; one that has
// no row reads to the end of the file all the same.
TEST(Operators, OfSomeRowsHaveTheWeightsOfTheSurvey) {
  const ScratchFolder folder;
  std::string weights;
  for (int value = 1; value <= 12 + 6 + 8 + 6; ++value) weights += fmt::format("{}\n", value);
  const std::string file = folder.write("w.dat", weights);
  const Mesh mesh = make_mesh(0.0, 0.0, 0.0, {10, 20}, {30, 12, 11}, {5, 7});
  const SharedGround survey = share_ground(mesh, {3, 2, std::vector<std::int32_t>(6)});
  const auto operators_of = [&](const SharedGround& ground) {
    return calc_W_components(file, ground->mesh, get_active_cells("null", ground), {1, 1, 1, 1});
  };
  const WeightingOperators all = operators_of(survey);
  for (const ranks::Share own : {ranks::Share{0, 1}, {2, 3}}) {
    const WeightingOperators some = operators_of(share_slab(*survey, own, "test"));
    const int before = own.begin == 0 ? 0 : 4;
    const auto of_rows = [&](const std::vector<double>& values) {
      return std::vector<double>(values.begin() + before, values.begin() + before + 8);
    };
    EXPECT_EQ(some.Ws, of_rows(all.Ws));
    EXPECT_EQ(some.Wy.weights, of_rows(all.Wy.weights));
    EXPECT_EQ(some.Wz.weights, of_rows(all.Wz.weights));
    for (std::size_t c = 0; c < 4; ++c)  // to the next row, if it is there
      EXPECT_EQ(some.Wx.weights[c], of_rows(all.Wx.weights)[c]);
  }
  const SharedGround none = share_slab(*survey, {3, 3}, "test");
  const ActiveCells active = read_active_cells("null", none);
  EXPECT_TRUE(calc_W_components(file, none->mesh, active, {1, 1, 1, 1}).Ws.empty());
}

// A neighbour lost where one thread's cells or one partial sum ends and the next begins: the
// objective is quadratic, so that central differences carry rounding errors only.
TEST(Operators, ProductIsTheGradientOfTheNormAcrossTheEdgesOfPieces) {
  const Mesh mesh = make_mesh(0.0, 0.0, 0.0, std::vector<double>(15, 10.0),
                              std::vector<double>(19, 12.0), std::vector<double>(37, 7.0));
  const ActiveCells active = get_active_cells(
      "null", share_ground(mesh, {19, 15, std::vector<std::int32_t>(std::size_t{15} * 19)}));
  ASSERT_GT(active.ncell, 2 * 4096);
  const WeightingOperators operators = calc_W_components("null", mesh, active, {0.01, 1, 2, 3});
  std::vector<double> m = values_of_seed(active.map.size(), 1);
  const std::vector<double> zero(m.size());
  std::vector<double> product(m.size());
  CALC_WTW_MOD::calc_WTW_vec(operators, m, m, product);
  const double total = calc_model_norm(operators, {}, false, m, zero).total;
  EXPECT_NEAR(dot(m, product), total, 1e-12 * total);
  for (const std::size_t edge : {4096U, 8192U}) {
    for (const std::size_t from_edge : {0U, 1U, 36U, 37U, 38U, 37U * 15 - 1, 37U * 15}) {
      for (const std::size_t c : {edge - 1 - from_edge, edge + from_edge}) {
        m[c] += 0.5;
        const double above = calc_model_norm(operators, {}, false, m, zero).total;
        m[c] -= 1.0;
        const double slope = above - calc_model_norm(operators, {}, false, m, zero).total;
        m[c] += 0.5;
        EXPECT_NEAR(product[c], 0.5 * slope, 1e-13 * total) << "cell " << c + 1;
      }
    }
  }
}

// Cells counted from the active vector, bounds as scaled, the model's cells counted twice.
TEST(Bounds, AreNamedAsTheUserWroteThemAndCountCells) {
  const MeshOfAllKinds of;
  const std::vector<double> wtz(as_size(of.active.ground->cells()), 4.0);
  const auto ncell = as_size(of.active.ncell);
  Bounds bounds{std::vector<double>(ncell, -4.0), std::vector<double>(ncell, 2.0)};
  check_bound_order(bounds, of.active, wtz);
  std::vector<double> model(ncell, 0.0);
  model[0] = -4.5;
  model[1] = 2.5;
  model[2] = model[3] = 2.0;
  model[4] = -4.0;
  const CellsAtBounds cells =
      count_at_bounds(RowPieces({0, length(model)}, {.own_end = 1}, "test"), model, bounds);
  EXPECT_EQ(cells.outside, 2);
  EXPECT_EQ(cells.touching, 3);
  EXPECT_THROW(check_none_outside(cells, "m"), StopRun);
  bounds.upper[1] = -8.0;
  bounds.upper[3] = -9.0;
  const std::int64_t second =
      std::find(of.active.map.begin(), of.active.map.end(), 2) - of.active.map.begin() + 1;
  try {
    check_bound_order(bounds, of.active, wtz);
    ADD_FAILURE() << "bounds in the wrong order";
  } catch (const StopRun& stop) {
    EXPECT_EQ(stop.message(),
              fmt::format("ERROR: Upper bound should be greater than lower: {} -1.0000E+00 "
                          "-2.0000E+00",
                          second));
  }
}

// Lengths and alphas confused, the default for a file name, a direction in another's place.
TEST(Alphas, LineGivesAlphasOrLengths) {
  const auto read = [](const char* line) {
    const auto [a, lengths, lengths_given] = read_alphas(line);
    return fmt::format("{} {} {} {}{}{} {} {}", a.s, a.e, a.n, a.z, lengths_given ? " <- " : " -> ",
                       lengths.e, lengths.n, lengths.z);
  };
  EXPECT_EQ(read("null 5 5 5 5"), "0.0001 1 1 1 -> 100 100 100");
  EXPECT_EQ(read("NULL"), "0.0001 1 1 1 -> 100 100 100");
  EXPECT_EQ(read("0.25, 2*1 4"), "0.25 1 1 4 -> 2 2 4");
  EXPECT_EQ(read("10 20 5 metres"), "0.0025 0.25 1 0.0625 <- 10 20 5");
}

}  // namespace quorivex::test
