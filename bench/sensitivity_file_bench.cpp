// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a full sensitivity file of 250,000 cells by 1,000 data, against plain read calls into a
// freshly allocated buffer of the same size (the first touch of memory is what costs).
#include "files.h"
#include "inversion/sensitivity/getpar.h"
#include "paired.h"

namespace quorivex::bench {
namespace {

constexpr std::int32_t kData = 1000;
constexpr std::int32_t kSide = 50;  // cells along easting and northing
constexpr std::int32_t kDeep = 100;
constexpr std::int32_t kCells = kSide * kSide * kDeep;

void fill(RecordFileForBench& to) {
  to.record(std::vector<std::int32_t>{kData, kCells, kSide, kSide, kDeep});
  to.record(std::vector<double>(2 * (kSide + 1) + kDeep + 2, 1.0));
  to.record(std::vector<std::int32_t>(std::size_t{kSide} * kSide, 0));
  to.record(std::vector<std::int32_t>{0});
  to.record(std::vector<std::int32_t>{kSide, kSide, kDeep});
  to.record(std::vector<double>(kCells + 1, 1.0));
  for (std::int32_t i = 0; i < kData; ++i) {
    to.record(std::vector<float>(kCells, static_cast<float>(i)));
  }
  to.record(std::vector<double>(kCells, 1.0));
}

void read_file(benchmark::State& state) {
  static const RecordFileForBench file("sensitivity_file_bench.mtx", fill);
  const SensitivityFile read = getpar(file.name);
  for (std::int32_t i = 1; i <= kData; ++i) {
    const float* row = read.sens.Gfull.row(i);
    if (row[0] != static_cast<float>(i - 1) || row[kCells - 1] != row[0]) {
      state.SkipWithError("wrong answer");
      return;
    }
  }
  run_paired(
      state, static_cast<double>(file.bytes()), [&] { plain_read(file); },
      [&] { benchmark::DoNotOptimize(getpar(file.name)); });
}

BENCHMARK(read_file)
    ->Name("getpar")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
