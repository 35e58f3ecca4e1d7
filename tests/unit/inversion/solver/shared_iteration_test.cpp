// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "base/ranks.h"
#include "compressed.h"
#include "file_for_all.h"
#include "inversion/sensitivity/products.h"
#include "inversion/solver/linsolv.h"
#include "values.h"

namespace quorivex::test {
namespace {

/// What all processes send in an update that ends after so many iterations.
std::int64_t sent_in_update(const Problem& problem, std::int32_t iterations) {
  const std::size_t cells = problem.mref.size();
  CurrentModel current{std::vector<double>(cells),
                       evaluate_objective(problem, std::vector<double>(cells))};
  LinsolvState state;
  const std::int64_t before = ranks::bytes_sent();
  const CgResult result =
      linsolv(problem, 10.0, {0.0, iterations, [](auto, auto) {}}, current, state);
  EXPECT_EQ(result.iterations, iterations);
  return ranks::sum(ranks::bytes_sent() - before);
}

void expect_little_sent(const Survey& survey, const std::vector<std::string>& records) {
  const FileForAll written(records);
  const SensitivityFile file = read_part(written.name);
  const SensitivityState& sens = file.sens;
  const ActiveCells active = get_active_cells("null", file.ground);
  const std::size_t n = as_size(active.ncell);
  const FixedValues fixed = split_reference(active, std::vector<double>(active.map.size()));
  Observations data;
  data.obs = values_of_seed(as_size(sens.ndata), 1);
  data.std = std::vector<double>(data.obs.size(), 1.0);
  const std::vector<double> mref(n);
  const Bounds bounds{std::vector<double>(n, -1e9), std::vector<double>(n, 1e9)};
  const WeightingOperators weights =
      calc_W_components("null", file.ground->mesh, active, {1e-4, 1, 1, 1});
  const InactiveTerms inactive;
  const Diagonals diagonals = calc_diagonals(sens.gdiag, data.std, active, weights);
  const Problem problem{sens, active, fixed,   data,     mref,
                        true, bounds, weights, inactive, diagonals};
  GtgprodWork work(sens, active);
  std::vector<double> product(n);
  const std::int64_t before = ranks::bytes_sent();
  gtgprod(sens, active, mref, product, work);
  const std::int64_t in_product = ranks::sum(ranks::bytes_sent() - before);
  // The step of either update is taken whole: the rest of what is sent is the same.
  const std::int64_t in_ten = sent_in_update(problem, 13) - sent_in_update(problem, 3);

  // Numbers that an iteration may send, of all processes together.
  const std::int64_t others = ranks::count() - 1;
  const std::int64_t layer = std::int64_t{survey.mesh.ne} * survey.mesh.nz;
  const std::int64_t to_neighbours = 2 * others * layer;
  // Each transform moves the grid twice; a full matrix has its cells moved there and back.
  const std::int64_t cells = sens.compressed ? 2 * 2 * sens.nwav : 2 * survey.nsens();
  const std::int64_t data_vectors = ranks::count() * 2 * sens.ndata;
  const std::int64_t row_sums = others * 3 * survey.mesh.nn;  // p.q, r.r and r.P r of each row
  const std::int64_t scalars = ranks::count() * 8;
  EXPECT_LE(in_product, 8 * (cells + data_vectors + scalars));
  EXPECT_LE(in_ten - 10 * in_product, 10 * 8 * (to_neighbours + row_sums + scalars));
}

// Vectors of all cells that everybody gets, a matrix-vector product that is exchanged twice.
TEST(SharedIteration, SendsTheDataTwiceTheGridFourTimesAndALayerToEachNeighbour) {
  const Survey survey = make_survey({.ne = 9, .nn = 13, .nz = 7});
  expect_little_sent(survey, sensitivity_records(survey));
  expect_little_sent(survey, compressed_records(survey, 6));
}

}  // namespace
}  // namespace quorivex::test
