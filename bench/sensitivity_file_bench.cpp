// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a full sensitivity file of 250,000 cells by 1,000 data, against plain read calls into a
// freshly allocated buffer of the same size (the first touch of memory is what costs).
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "base/report.h"
#include "paired.h"
#include "sensitivity/getpar.h"

namespace quorivex::bench {
namespace {

constexpr std::int32_t kData = 1000;
constexpr std::int32_t kSide = 50;  // cells along easting and northing
constexpr std::int32_t kDeep = 100;
constexpr std::int32_t kCells = kSide * kSide * kDeep;

/// The file, made once in the current folder and removed at the end.
class File {
 public:
  File() : file_(std::fopen(name, "wb")) {
    if (file_ == nullptr) std::abort();
    record(std::vector<std::int32_t>{kData, kCells, kSide, kSide, kDeep});
    record(std::vector<double>(2 * (kSide + 1) + kDeep + 2, 1.0));
    record(std::vector<std::int32_t>(kSide * kSide, 0));
    record(std::vector<std::int32_t>{0});
    record(std::vector<std::int32_t>{kSide, kSide, kDeep});
    record(std::vector<double>(kCells + 1, 1.0));
    std::vector<float> row(kCells);
    for (std::int32_t i = 0; i < kData; ++i) {
      row.assign(row.size(), static_cast<float>(i));
      record(row);
    }
    record(std::vector<double>(kCells, 1.0));
    bytes = std::ftell(file_);
    std::fclose(file_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { std::remove(name); }

  const char* name = "sensitivity_file_bench.mtx";
  std::int64_t bytes = 0;

 private:
  template <class T>
  void record(const std::vector<T>& items) {
    const auto count = static_cast<std::int32_t>(items.size() * sizeof(T));
    std::fwrite(&count, sizeof(count), 1, file_);
    std::fwrite(items.data(), sizeof(T), items.size(), file_);
    std::fwrite(&count, sizeof(count), 1, file_);
  }
  std::FILE* file_;
};

void plain_read(const File& file) {
  const auto buffer = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(file.bytes));
  const int descriptor = ::open(file.name, O_RDONLY);
  std::int64_t at = 0;
  while (at < file.bytes) {
    const ssize_t count =
        ::read(descriptor, buffer.get() + at, static_cast<std::size_t>(file.bytes - at));
    if (count <= 0) std::abort();
    at += count;
  }
  ::close(descriptor);
  benchmark::DoNotOptimize(buffer[static_cast<std::size_t>(file.bytes - 1)]);
}

void read_file(benchmark::State& state) {
  static const File file;
  Report report;
  const SensitivityFile read = getpar(file.name, report);
  for (std::int32_t i = 1; i <= kData; ++i) {
    const float* row = read.sens.Gfull.row(i);
    if (row[0] != static_cast<float>(i - 1) || row[kCells - 1] != row[0]) {
      state.SkipWithError("wrong answer");
      return;
    }
  }
  run_paired(
      state, static_cast<double>(file.bytes), [&] { plain_read(file); },
      [&] { benchmark::DoNotOptimize(getpar(file.name, report)); });
}

BENCHMARK(read_file)
    ->Name("getpar")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
