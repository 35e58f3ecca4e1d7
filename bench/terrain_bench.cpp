// SPDX-License-Identifier: GPL-3.0-or-later
// From a topography file of a million points to the column tops of 200 x 200 columns, for points
// at random and on a regular grid.
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "paired.h"
#include "workbench/terrain/terrain_tops.h"

namespace quorivex::bench {
namespace {

constexpr const char* kName = "terrain_bench.txt";
constexpr std::int32_t kPoints = 1000000;
constexpr std::int32_t kCells = 200;  // along easting and northing, 50 m each
constexpr double kExtent = 50.0 * kCells;

double ground(double easting, double northing) {
  return 200.0 * std::sin(easting * 1e-3) * std::cos(northing * 7e-4);
}

Mesh make_mesh() {
  Mesh mesh;
  mesh.ne = mesh.nn = kCells;
  mesh.nz = 60;
  for (std::int32_t i = 0; i <= kCells; ++i) mesh.easting_nodes.push_back(50.0 * i);
  mesh.northing_nodes = mesh.easting_nodes;
  mesh.de = mesh.dn = std::vector<double>(kCells, 50.0);
  for (std::int32_t k = 0; k <= mesh.nz; ++k) mesh.depth_nodes.push_back(10.0 * k);
  mesh.z0 = 300.0;
  return mesh;
}

void write_file(bool regular) {
  std::FILE* file = std::fopen(kName, "wb");
  if (file == nullptr) std::abort();
  fmt::print(file, "{}\n", kPoints);
  std::mt19937_64 random(1);
  const auto coordinate = [&] { return static_cast<double>(random() >> 11) * 0x1p-53 * kExtent; };
  for (std::int32_t i = 0; i < kPoints; ++i) {
    const std::int32_t column = i % 1000;
    const std::int32_t row = i / 1000;
    const double easting = regular ? kExtent / 999.0 * column : coordinate();
    const double northing = regular ? kExtent / 999.0 * row : coordinate();
    fmt::print(file, "{:.4f} {:.4f} {:.3f}\n", easting, northing, ground(easting, northing));
  }
  std::fclose(file);
}

/// The triangles are within centimetres of the ground: only columns whose ground is that close to
/// a boundary of layers may differ, and few are.
bool agree(const ColumnTops& a, const ColumnTops& b) {
  std::int64_t differ = 0;
  for (std::size_t i = 0; i < a.tops.size(); ++i) differ += a.tops[i] != b.tops[i] ? 1 : 0;
  return a.tops.size() == b.tops.size() && differ * 100 < length(a.tops);
}

void read_million(benchmark::State& state) {
  write_file(state.range(0) != 0);
  const Mesh mesh = make_mesh();
  ColumnTops tops;
  for (auto iteration : state) {
    (void)iteration;
    state.SetIterationTime(
        seconds_of([&] { tops = read_topography(kName, mesh, [](const std::string&) {}); }));
  }
  if (!agree(tops, column_tops_of_terrain(mesh, {.name = {}, .elevation = ground}).tops))
    state.SkipWithError("wrong answer");
  std::remove(kName);
}

BENCHMARK(read_million)
    ->Name("read_topography")
    ->ArgName("regular")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kSecond)
    ->Iterations(3);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
