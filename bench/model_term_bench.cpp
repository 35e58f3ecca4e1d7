// SPDX-License-Identifier: GPL-3.0-or-later
// W^T W x of a mesh of 100 x 100 x 100 cells on all cores, against the plain form: the rows of the
// four operators, one task per operator, each with a vector of its own, and their sum.
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "inversion/objective/calc_wtw_mod.h"
#include "paired.h"

namespace quorivex::bench {
namespace {

constexpr std::int32_t kCounts = 100;
constexpr std::int64_t kCells = std::int64_t{kCounts} * kCounts * kCounts;

const WeightingOperators& operators() {
  static const WeightingOperators made = [] {
    const std::vector<double> widths(kCounts, 25.0);
    ColumnTops tops{.nn = kCounts, .ne = kCounts, .tops = {}};
    tops.tops.resize(std::size_t{kCounts} * kCounts);
    const SharedGround ground =
        share_ground(make_mesh(0.0, 0.0, 0.0, widths, widths, widths), std::move(tops));
    const ActiveCells active = read_active_cells("null", ground);
    return calc_W_components("null", ground->mesh, active, Alphas{1e-4, 1.0, 1.0, 1.0});
  }();
  return made;
}

using Vectors = std::array<std::vector<double>, 4>;

void plain_product(const std::vector<double>& x, Vectors& terms, std::vector<double>& y) {
  const std::array differences{&operators().Wx, &operators().Wy, &operators().Wz};
#pragma omp parallel for schedule(static, 1)
  for (std::size_t term = 0; term < 4; ++term) {
    std::fill(terms[term].begin(), terms[term].end(), 0.0);
    for (std::int64_t c = 0; term < 3 && c < kCells; ++c) {
      const auto own = static_cast<std::size_t>(c);
      const auto next = static_cast<std::size_t>(differences[term]->next_of(c));
      const double flux = differences[term]->weights[own] * (x[next] - x[own]);
      terms[term][own] -= flux;
      terms[term][next] += flux;
    }
    for (std::size_t i = 0; term == 3 && i < x.size(); ++i)
      terms[term][i] = operators().Ws[i] * operators().Ws[i] * x[i];
  }
  for (std::size_t i = 0; i < y.size(); ++i)
    y[i] = terms[0][i] + terms[1][i] + terms[2][i] + terms[3][i];
}

void model_term(benchmark::State& state) {
  std::vector<double> x;
  for (std::int64_t i = 0; i < kCells; ++i) x.push_back(std::sin(0.37 * static_cast<double>(i)));
  std::vector<double> y(x.size());
  std::vector<double> plain(x.size());
  Vectors terms;
  terms.fill(std::vector<double>(x.size()));
  CALC_WTW_MOD::calc_WTW_vec(operators(), x, x, y);
  plain_product(x, terms, plain);
  double scale = 0.0;
  double error = 0.0;
  for (std::size_t i = 0; i < y.size(); ++i) {
    scale = std::max(scale, std::abs(plain[i]));
    error = std::max(error, std::abs(plain[i] - y[i]));
  }
  if (!(error <= 1e-12 * scale)) {
    state.SkipWithError("wrong answer");
    return;
  }
  // What a product has to move: weights, positions and vectors, 72 bytes per cell.
  run_paired(
      state, 72.0 * kCells, [&] { plain_product(x, terms, plain); },
      [&] { CALC_WTW_MOD::calc_WTW_vec(operators(), x, x, y); });
}

BENCHMARK(model_term)
    ->Name("calc_WTW_vec")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
