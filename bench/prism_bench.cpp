// SPDX-License-Identifier: GPL-3.0-or-later
// Rows of the forward kernel on one core, against the sum over eight corners cell by cell.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "paired.h"
#include "workbench/forward/prism_row.h"

namespace quorivex::bench {
namespace {

Ground make_grid(std::int32_t side, std::int32_t layers) {
  Mesh mesh;
  const auto axis = [](std::int32_t cells, double width, std::vector<double>& nodes,
                       std::vector<double>& widths) {
    for (std::int32_t i = 0; i <= cells; ++i) nodes.push_back(width * i);
    widths.assign(as_size(cells), width);
  };
  axis(side, 25.0, mesh.easting_nodes, mesh.de);
  axis(side, 25.0, mesh.northing_nodes, mesh.dn);
  axis(layers, 12.5, mesh.depth_nodes, mesh.dz);
  mesh.ne = mesh.nn = side;
  mesh.nz = layers;
  return make_ground(mesh, {side, side, std::vector<std::int32_t>(as_size(side) * as_size(side))});
}

/// The tensor of one prism contracted with the weights, three arctangents and three logarithms at
/// each of its corners.
double eight_corners(const double* east, const double* north, const double* up,
                     const TensorWeights& w) {
  double sum = 0.0;
  for (int corner = 0; corner < 8; ++corner) {
    const double x = east[corner & 1];
    const double y = north[corner >> 1 & 1];
    const double z = up[corner >> 2];
    const double r = std::sqrt(x * x + y * y + z * z);
    const double value = -w.ee * std::atan2(y * z, x * r) - w.nn * std::atan2(x * z, y * r) -
                         w.uu * std::atan2(x * y, z * r) + w.en * std::log(z + r) +
                         w.eu * std::log(y + r) + w.nu * std::log(x + r);
    sum += std::popcount(static_cast<unsigned>(corner)) % 2 == 1 ? value : -value;
  }
  return sum;
}

void cell_by_cell(const Ground& ground, const Point& at, const TensorWeights& w,
                  std::vector<double>& row) {
  const Mesh& m = ground.mesh;
  for_each_ground_cell(ground, [&](const GridCell& c) {
    const double east[] = {m.easting_nodes[as_size(c.i - 1)] - at.easting,
                           m.easting_nodes[as_size(c.i)] - at.easting};
    const double north[] = {m.northing_nodes[as_size(c.j - 1)] - at.northing,
                            m.northing_nodes[as_size(c.j)] - at.northing};
    const double up[] = {ground.elevation(c.k + 1) - at.elevation,
                         ground.elevation(c.k) - at.elevation};
    row[as_size(c.below - 1)] = eight_corners(east, north, up, w);
  });
}

/// Whether two rows agree within 2e-7 of each cell's field, that of a dipole at its centre.
bool agree(const Ground& ground, const Point& at, const std::vector<double>& row,
           const std::vector<double>& plain) {
  const Mesh& m = ground.mesh;
  bool agreed = true;
  for_each_ground_cell(ground, [&](const GridCell& c) {
    const double r =
        std::hypot(m.easting_nodes[as_size(c.i - 1)] + 0.5 * m.de[as_size(c.i - 1)] - at.easting,
                   m.northing_nodes[as_size(c.j - 1)] + 0.5 * m.dn[as_size(c.j - 1)] - at.northing,
                   ground.elevation(c.k) - 0.5 * m.dz[as_size(c.k - 1)] - at.elevation);
    const double volume = m.de[as_size(c.i - 1)] * m.dn[as_size(c.j - 1)] * m.dz[as_size(c.k - 1)];
    const double field = std::sqrt(6.0) * volume / (r * r * r);
    const std::size_t n = as_size(c.below - 1);
    agreed = agreed && std::abs(row[n] - plain[n]) < 2e-7 * field + 1e-14;
  });
  return agreed;
}

void prisms(benchmark::State& state) {
  const Ground ground = make_grid(64, static_cast<std::int32_t>(state.range(0)));
  const TensorWeights weights{.ee = 0.3, .nn = 0.5, .uu = -0.8, .en = 0.7, .eu = -0.4, .nu = 0.9};
  const Point station{811.3, 640.7, 40.0};
  PrismScratch scratch(ground.mesh);
  std::vector<double> row(as_size(ground.cells()));
  std::vector<double> plain(row.size());
  const auto fill = [&](const GridColumn& column, const double* cells) {
    std::copy_n(cells, ground.mesh.nz - column.top, row.data() + column.before);
  };
  prism_row(ground, station, weights, scratch, fill);
  cell_by_cell(ground, station, weights, plain);
  if (!agree(ground, station, row, plain)) state.SkipWithError("wrong answer");
  std::vector<double> of_plain;
  std::vector<double> of_row;
  for (auto iteration : state) {
    (void)iteration;
    of_plain.push_back(seconds_of([&] { cell_by_cell(ground, station, weights, plain); }));
    of_row.push_back(seconds_of([&] { prism_row(ground, station, weights, scratch, fill); }));
    state.SetIterationTime(of_row.back());
  }
  const auto cells = static_cast<double>(ground.cells());
  state.counters["ns/pair"] = median(of_row) / cells * 1e9;
  state.counters["eight_corners_ns/pair"] = median(of_plain) / cells * 1e9;
  state.counters["times_faster"] = median(of_plain) / median(of_row);
}

BENCHMARK(prisms)
    ->Name("prism_row")
    ->ArgName("layers")
    ->Arg(22)
    ->Arg(32)
    ->Arg(63)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(30);

}  // namespace
}  // namespace quorivex::bench

BENCHMARK_MAIN();
