// SPDX-License-Identifier: GPL-3.0-or-later
// Writing and reading a model of a million cells, against plain write and read calls of the same
// bytes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "inversion/mesh_io/model_files.h"
#include "paired.h"

namespace quorivex::bench {
namespace {

constexpr const char* kName = "model_files_bench_001.sus";
constexpr std::int64_t kCells = 1000000;

struct Model {
  Model() {
    Mesh mesh;
    mesh.ne = mesh.nn = mesh.nz = 100;
    ColumnTops tops{.nn = 100, .ne = 100, .tops = std::vector<std::int32_t>(10000, 0)};
    active = get_active_cells("null", share_ground(mesh, std::move(tops)));
    for (std::int64_t i = 0; i < kCells; ++i) {
      values.push_back(1e-3 * std::exp(std::sin(0.1 * static_cast<double>(i))));
    }
  }
  void write() const {
    output_model("model_files_bench_001.sus", values, wtz, active, FixedValues{});
  }
  void read(std::vector<double>& to) {
    read_active_model(kName, "initial model", active, to);
    scale_active_model(active, wtz, to);
  }

  ActiveCells active;
  std::vector<double> wtz = std::vector<double>(kCells, 0.5);
  std::vector<double> values;
};

std::string plain_read() {
  std::string text(kCells * 13, '\0');
  std::FILE* file = std::fopen(kName, "rb");
  if (file == nullptr || std::fread(text.data(), 1, text.size(), file) != text.size()) std::abort();
  std::fclose(file);
  return text;
}

/// Writes a model and reads it back; false unless it is the same to the digits of the file.
bool round_trip(Model& model) {
  model.write();
  std::vector<double> back(kCells);
  model.read(back);
  for (std::size_t i = 0; i < back.size(); ++i) {
    if (!(std::abs(back[i] - model.values[i]) <= 1e-5 * model.values[i])) return false;
  }
  return true;
}

void write_model(benchmark::State& state) {
  Model model;
  if (!round_trip(model)) state.SkipWithError("wrong answer");
  const std::string text = plain_read();
  run_paired(
      state, static_cast<double>(text.size()),
      [&] {
        std::FILE* file = std::fopen(kName, "wb");
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
      },
      [&] { model.write(); });
  std::remove(kName);
}

void read_model(benchmark::State& state) {
  Model model;
  if (!round_trip(model)) state.SkipWithError("wrong answer");
  std::vector<double> back(kCells);
  run_paired(state, kCells * 13.0, plain_read, [&] { model.read(back); });
  std::remove(kName);
}

void all_of(benchmark::internal::Benchmark* bench) {
  bench->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
}

BENCHMARK(write_model)->Name("output_model")->Apply(all_of);
BENCHMARK(read_model)->Name("read_active_model")->Apply(all_of);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
