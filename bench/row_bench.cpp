// SPDX-License-Identifier: GPL-3.0-or-later
// What a row costs on one core on its way to a compressed sensitivity file, per cell and datum: the
// kernel, the scale of the cells, the transform, and the choice of coefficients.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cmath>
#include <vector>

#include "inversion/sensitivity/wavelet_filters.h"
#include "inversion/sensitivity/wtn_mod.h"
#include "paired.h"
#include "workbench/forward/build_sensitivity.h"
#include "workbench/forward/cell_scale.h"
#include "workbench/forward/data_rows.h"

namespace quorivex::bench {
namespace {

constexpr std::int32_t kSide = 64;
constexpr std::int32_t kStations = 256;

/// 64 x 64 x 32 cells: cubes, plates of 4:1, or a core of cubes with padding that grows.
Ground make_ground_of(std::int64_t kind) {
  std::vector<double> across(kSide, 25.0);
  std::vector<double> down(32, kind == 1 ? 6.25 : 25.0);
  if (kind == 2) {
    double width = 25.0;
    for (std::size_t n = 0; n < 8; ++n) {
      width *= 1.3;
      across[7 - n] = across[kSide - 8 + n] = down[24 + n] = width;
    }
  }
  return make_ground(make_mesh(0.0, 0.0, 0.0, across, across, down),
                     {kSide, kSide, std::vector<std::int32_t>(std::size_t{kSide} * kSide)});
}

Observations make_stations(const Ground& ground) {
  const Mesh& mesh = ground.mesh;
  Observations survey;
  survey.incl = survey.aincl = 62.0;
  survey.decl = survey.adecl = 14.0;
  survey.geomag = 50000.0;
  for (std::int32_t i = 0; i < kStations; ++i) {
    const std::int32_t line = i / 16;
    survey.x.push_back(0.5 * (mesh.easting_nodes[8] + mesh.easting_nodes[56]) +
                       90.7 * (i % 16 - 8));
    survey.y.push_back(0.5 * (mesh.northing_nodes[8] + mesh.northing_nodes[56]) +
                       90.3 * (line - 8));
    survey.z.push_back(40.0);
    survey.std.push_back(2.0);
  }
  survey.ndata = kStations;
  return survey;
}

void rows(benchmark::State& state) {
  omp_set_num_threads(1);
  const Ground ground = make_ground_of(state.range(0));
  const Observations survey = make_stations(ground);
  const auto counts = wavelet_grid(ground.mesh);
  const auto filter = WTN_MOD::filter_setup(low_pass_filter("daub4"));
  const RowLayout layout{.depth = counts[0], .east = counts[1]};
  std::vector<double> row(as_size(ground.mesh.cells()));
  std::vector<double> wtz;
  PrismScratch prism(ground.mesh);
  WTN_MOD::Scratch scratch(counts);
  SizeClasses classes(length(row));
  CompressedRow kept(length(row));
  const ScaleRule rule{.kind = ScaleRule::Kind::distance, .exponent = 3.0, .offset = 3.0};
  const CompressionRule error{.value = 0.005};
  std::vector<double> of_kernel, of_scale, of_transform, of_choice;
  for (auto iteration : state) {
    (void)iteration;
    of_scale.push_back(seconds_of([&] { wtz = cell_scale(ground, survey, rule); }) / kStations);
    double total = 0.0;
    for (std::int32_t i = 1; i <= kStations; i += 16) {
      of_kernel.push_back(seconds_of([&] {
        data_row(ground, survey, i, prism, [&](const GridColumn& column, const double* cells) {
          double* const to = row.data() + layout.begin(column);
          for (std::int32_t k = 0; k < ground.mesh.nz; ++k)
            to[k] = cells[k] / wtz[as_size(column.before + k)];
        });
      }));
      of_transform.push_back(
          seconds_of([&] { WTN_MOD::transform_padded(filter, row, counts, counts, scratch); }));
      of_choice.push_back(
          seconds_of([&] { compress_row(row, ground.cells(), error, classes, kept); }));
      total += of_kernel.back() + of_transform.back() + of_choice.back();
      if (!(kept.relative_error <= error.value * (1.0 + 1e-9)) || kept.count == 0)
        state.SkipWithError("wrong answer");
    }
    state.SetIterationTime(total);
  }
  const double nanoseconds = 1e9 / static_cast<double>(ground.cells());
  state.counters["kernel"] = median(of_kernel) * nanoseconds;
  state.counters["scale"] = median(of_scale) * nanoseconds;
  state.counters["transform"] = median(of_transform) * nanoseconds;
  state.counters["choice"] = median(of_choice) * nanoseconds;
}

BENCHMARK(rows)
    ->Name("row, ns per cell and datum")
    ->ArgName("0=cubes,1=plates,2=padded")
    ->DenseRange(0, 2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
