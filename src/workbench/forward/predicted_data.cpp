// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/predicted_data.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <random>

#include "base/stop_run.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/cell_vectors.h"
#include "inversion/mesh_io/model_files.h"
#include "inversion/sensitivity/products.h"
#include "workbench/forward/data_rows.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "predicted_data";

/// The sum of a(k) b(k), by 8 sums that do not wait for each other.
double dot(const double* a, const double* b, std::int32_t count) {
  std::array<double, 8> sums{};
  std::int32_t k = 0;
  for (; k + 8 <= count; k += 8) {
    for (std::int32_t lane = 0; lane < 8; ++lane) {
      sums[as_size(lane)] += a[k + lane] * b[k + lane];
    }
  }
  for (; k < count; ++k) sums[0] += a[k] * b[k];
  return std::accumulate(sums.begin(), sums.end(), 0.0);
}

}  // namespace

std::vector<double> read_ground_model(const std::string& name, const Ground& ground) {
  std::vector<double> full = allocate<double>(as_size(ground.mesh.cells()), kRoutine);
  read_full_model(name, "model", ground, full);
  std::vector<double> model = allocate<double>(as_size(ground.cells()), kRoutine);
  full_to_below(ground, full, model);
  std::replace(model.begin(), model.end(), kAirValue, 0.0);
  return model;
}

std::vector<double> predicted_data(const Ground& ground, const Observations& observations,
                                   View1<const double> model, ranks::Team team) {
  std::vector<double> data = allocate<double>(as_size(observations.ndata), kRoutine);
  const int threads = threads_for(observations);
  std::vector<PrismScratch> scratch(as_size(threads), PrismScratch(ground.mesh));
  DataProgress progress("predicted data: datum", observations.ndata, team);
  const ranks::Share share =
      ranks::share_of(observations.ndata, ranks::rank(team), ranks::count(team));
  const DataRange range{static_cast<std::int32_t>(share.begin + 1),
                        static_cast<std::int32_t>(share.end)};
  for_each_datum(range, threads, progress, nullptr, [&](std::int32_t i, int thread) {
    double sum = 0.0;
    data_row(ground, observations, i, scratch[as_size(thread)],
             [&](const GridColumn& column, const double* cells) {
               sum += dot(cells, model.data() + column.before, ground.mesh.nz - column.top);
             });
    data[as_size(i - 1)] = sum;
  });
  if (team == ranks::Team::all) ranks::all_gather(data, share);
  return data;
}

std::vector<double> predicted_data(const SensitivityFile& file, const Observations& observations,
                                   std::vector<double> model) {
  require(file.sens.wtz.size() == model.size(), "idx1 /= size(wtz)");
  for (std::size_t c = 0; c < model.size(); ++c) model[c] *= file.sens.wtz[c];
  std::vector<double> data = allocate<double>(as_size(observations.ndata), kRoutine);
  gprod(file.sens, get_active_cells("null", file.ground), model, data);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] *= observations.std[i];
  return data;
}

std::vector<double> add_noise(double floor, double percent, std::uint64_t seed,
                              std::vector<double>& data) {
  std::mt19937_64 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> deviations;
  deviations.reserve(data.size());
  for (double& value : data) {
    deviations.push_back(floor + percent / 100.0 * std::abs(value));
    if (!(deviations.back() > 0.0)) {
      stop_run(
          " ERROR: a datum of 0 nT has a standard deviation of 0. Give the noise a floor in nT.");
    }
    value += deviations.back() * normal(random);
  }
  return deviations;
}

}  // namespace quorivex
