// SPDX-License-Identifier: GPL-3.0-or-later
// Products with a full matrix of 250,000 cells by 2,000 data on all cores, against a vectorised sum
// of the same floats (the read bandwidth of the machine) and against the plain loops.
#include <fmt/format.h>

#include <cmath>
#include <vector>

#include "base/multiversion.h"
#include "inversion/sensitivity/exact_sums.h"
#include "inversion/sensitivity/full_sens_mod.h"
#include "paired.h"
#include "plain_products.h"

namespace quorivex::bench {
namespace {

constexpr std::int32_t kCells = 250000;
constexpr std::int32_t kData = 2000;
constexpr double kBytes = 4.0 * kCells * kData;

const SensitivityState& matrix() {
  static const SensitivityState sens = [] {
    SensitivityState made;
    made.nsens = kCells;
    made.ndata = kData;
    made.Gfull = {kCells, UninitializedArray<float>(std::int64_t{kCells} * kData, "bench")};
    float* values = made.Gfull.values.data();
#pragma omp parallel for
    for (std::int64_t i = 0; i < std::int64_t{kCells} * kData; ++i) {
      values[i] = static_cast<float>((i * 7919) % 2003 - 1001) * 0.001F;
    }
    made.norms = row_norms(made.Gfull, kData);
    return made;
  }();
  return sens;
}

std::vector<double> wave(std::int32_t count) {
  std::vector<double> values;
  for (std::int32_t i = 0; i < count; ++i) values.push_back(std::sin(0.37 * i));
  return values;
}

/// Four sums at a time, so that the additions do not wait for each other.
QUORIVEX_MULTIVERSIONED
double sum_of(const float* values, std::int64_t count) {
  const std::int64_t quarter = count / 4;
  double s0 = 0.0;
  double s1 = 0.0;
  double s2 = 0.0;
  double s3 = 0.0;
#pragma omp simd reduction(+ : s0, s1, s2, s3)
  for (std::int64_t i = 0; i < quarter; ++i) {
    s0 += static_cast<double>(values[i]);
    s1 += static_cast<double>(values[quarter + i]);
    s2 += static_cast<double>(values[2 * quarter + i]);
    s3 += static_cast<double>(values[3 * quarter + i]);
  }
  return s0 + s1 + s2 + s3;
}

/// Reads the whole matrix once, every thread its own rows.
void read_all() {
  const SensitivityState& sens = matrix();
  double total = 0.0;
#pragma omp parallel for schedule(static) reduction(+ : total)
  for (std::int64_t i = 1; i <= kData; ++i) total += sum_of(sens.Gfull.row(i), kCells);
  benchmark::DoNotOptimize(total);
}

/// The benchmark stops with an error unless both vectors agree.
bool agree(benchmark::State& state, const std::vector<double>& a, const std::vector<double>& b) {
  double scale = 0.0;
  double error = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    scale = std::max(scale, std::abs(a[i]));
    error = std::max(error, std::abs(a[i] - b[i]));
  }
  if (error <= 1e-12 * scale) return true;
  state.SkipWithError("wrong answer");
  return false;
}

enum Against { kBandwidth, kPlainLoop };

void gv(benchmark::State& state) {
  const std::vector<double> x = wave(kCells);
  std::vector<double> d(kData);
  std::vector<double> plain(kData);
  FULL_SENS_MOD::CALC_FULL_GV(matrix(), x, d);
  test::plain_full_gv(matrix().Gfull, x, plain);
  if (!agree(state, plain, d)) return;
  const auto work = [&] { FULL_SENS_MOD::CALC_FULL_GV(matrix(), x, d); };
  if (state.range(0) == kBandwidth) {
    run_paired(state, kBytes, read_all, work);
  } else {
    run_paired(
        state, kBytes, [&] { test::plain_full_gv(matrix().Gfull, x, plain); }, work);
  }
}

void gtv(benchmark::State& state) {
  const std::vector<double> d = wave(kData);
  std::vector<double> x(kCells);
  std::vector<double> plain(kCells);
  FULL_SENS_MOD::CALC_FULL_GTV(matrix(), d, x);
  test::plain_full_gtv(matrix().Gfull, d, plain);
  if (!agree(state, plain, x)) return;
  const auto work = [&] { FULL_SENS_MOD::CALC_FULL_GTV(matrix(), d, x); };
  if (state.range(0) == kBandwidth) {
    run_paired(state, kBytes, read_all, work);
  } else {
    run_paired(
        state, kBytes, [&] { test::plain_full_gtv(matrix().Gfull, d, plain); }, work);
  }
}

void all_of(benchmark::internal::Benchmark* bench) {
  bench->ArgName("0=bandwidth,1=plain")->Arg(kBandwidth)->Arg(kPlainLoop);
  bench->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
}

BENCHMARK(gv)->Name("CALC_FULL_GV")->Apply(all_of);
BENCHMARK(gtv)->Name("CALC_FULL_GTV")->Apply(all_of);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
