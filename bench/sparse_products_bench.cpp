// SPDX-License-Identifier: GPL-3.0-or-later
// A compressed matrix of 40 million coefficients in 4,000 rows on all cores: the product, over
// grids of 131,072 to 4 million points, against plain parallel loops; and reading its file, for a
// grid of 64 x 128 x 128 points, against plain read calls into a freshly allocated buffer of its
// size.
#include <omp.h>

#include <cmath>
#include <vector>

#include "files.h"
#include "inversion/sensitivity/exact_sums.h"
#include "inversion/sensitivity/getpar.h"
#include "inversion/sensitivity/sparse_sens_mod.h"
#include "paired.h"
#include "plain_products.h"

namespace quorivex::bench {
namespace {

constexpr std::int32_t kData = 4000;
constexpr std::int32_t kEntries = 10000;  // of each row
constexpr std::int32_t kPoints = 64 * 128 * 128;
constexpr double kBytes = 8.0 * kData * kEntries;

/// The payload of a row: its count, rising positions, values. Dense among the coarse coefficients
/// at the beginning, ever thinner further on.
std::vector<std::int32_t> make_row(std::uint32_t& seed, std::int32_t points) {
  std::vector<std::int32_t> row(1 + 2 * kEntries);
  row[0] = kEntries;
  for (std::int32_t k = 0; k < kEntries; ++k) {
    seed = seed * 1664525U + 1013904223U;
    const double share = (k + (seed >> 8) * 0x1p-24) / kEntries;
    row[as_size(1 + k)] = static_cast<std::int32_t>(points * share * share) % points + 1;
    const float value = static_cast<float>(seed >> 8) * 0x1p-24F - 0.5F;
    std::memcpy(&row[as_size(1 + kEntries + k)], &value, sizeof(value));
  }
  return row;
}

/// Rows of a matrix as they lie in a file, and cut into blocks.
struct Matrix {
  explicit Matrix(std::int32_t points) : rows(kData, std::int64_t{kData} * kEntries) {
    constexpr std::int32_t kBatch = 250;
    sens.ndata = kData;
    sens.Gs = SparseMatrix(points, kData, rows.room());
    std::uint32_t seed = 1;
    for (std::int32_t i = 0; i < kData; i += kBatch) {
      SparseRows batch(kBatch, std::int64_t{kBatch} * kEntries);
      for (std::int32_t j = 0; j < kBatch; ++j) {
        const std::vector<std::int32_t> row = make_row(seed, points);
        for (SparseRows* to : {&rows, &batch}) {
          std::memcpy(to->append(kEntries), row.data() + 1,
                      as_size(kEntries * SparseRows::kEntryBytes));
        }
      }
      sens.Gs.append(batch);
    }
    sens.norms = row_norms(sens.Gs);
  }

  SparseRows rows;
  SensitivityState sens;
};

/// The file, with a mesh of 60 x 120 x 120 cells of which one column lies below the surface.
const RecordFileForBench& sparse_file() {
  static const RecordFileForBench file("sparse_products_bench.mtx", [](RecordFileForBench& to) {
    to.record(std::vector<std::int32_t>{kData, 60, 120, 120, 60});
    to.record(std::vector<double>(121 + 121 + 61 + 1, 1.0));
    std::vector<std::int32_t> tops(14400, 60);  // 120 x 120
    tops[0] = 0;
    to.record(tops);
    const std::vector<double> filter{0.0, std::sqrt(0.5), std::sqrt(0.5)};
    std::vector<std::int32_t> filter_record(5);
    filter_record[0] = 2;
    std::memcpy(&filter_record[1], &filter[1], 16);
    to.record(filter_record);
    to.record(std::vector<std::int32_t>{128, 128, 64});
    std::vector<std::int32_t> wtz(1 + 2 * 60);
    to.record(wtz);
    std::uint32_t seed = 1;
    for (std::int32_t i = 0; i < kData; ++i) to.record(make_row(seed, kPoints));
    to.record(std::vector<double>(60, 1.0));
  });
  return file;
}

/// Both products as plain loops.
void plain_loops(const SparseRows& rows, std::vector<double>& w) {
  std::vector<double> d(kData);
  test::plain_gv(rows, w, d);
  test::plain_gtv(rows, d, w);
}

void gtgv(benchmark::State& state) {
  const auto points = static_cast<std::int32_t>(state.range(0));
  const Matrix matrix(points);
  std::vector<double> w;
  for (std::int32_t i = 0; i < points; ++i) w.push_back(std::sin(0.37 * i));
  std::vector<double> plain = w;
  SPARSE_SENS_MOD::CALC_GTGV(matrix.sens, w);
  plain_loops(matrix.rows, plain);
  double scale = 0.0;
  double error = 0.0;
  for (std::size_t i = 0; i < w.size(); ++i) {
    scale = std::max(scale, std::abs(plain[i]));
    error = std::max(error, std::abs(plain[i] - w[i]));
  }
  if (!(error <= 1e-11 * scale)) {
    state.SkipWithError("wrong answer");
    return;
  }
  run_paired(
      state, 2.0 * kBytes, [&] { plain_loops(matrix.rows, plain); },
      [&] { SPARSE_SENS_MOD::CALC_GTGV(matrix.sens, w); });
}

void read_file(benchmark::State& state) {
  if (getpar(sparse_file().name).sens.Gs.entries() != std::int64_t{kData} * kEntries) {
    state.SkipWithError("wrong answer");
    return;
  }
  run_paired(
      state, static_cast<double>(sparse_file().bytes()), [] { plain_read(sparse_file()); },
      [&] { benchmark::DoNotOptimize(getpar(sparse_file().name)); });
}

void all_of(benchmark::internal::Benchmark* bench) {
  bench->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
}

BENCHMARK(gtgv)
    ->Name("CALC_GTGV")
    ->ArgName("points")
    ->Arg(1 << 17)
    ->Arg(kPoints)
    ->Arg(1 << 22)
    ->Apply(all_of);
BENCHMARK(read_file)->Name("getpar")->Apply(all_of);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
