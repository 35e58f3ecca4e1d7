// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/predicted_data.h"

#include <algorithm>
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

}  // namespace

std::vector<double> read_ground_model(const std::string& name, const Ground& ground) {
  std::vector<double> full = allocate<double>(as_size(ground.mesh.cells()), kRoutine);
  read_full_model(name, "model", full);
  std::vector<double> model = allocate<double>(as_size(ground.cells()), kRoutine);
  full_to_below(ground, full, model);
  std::replace(model.begin(), model.end(), kAirValue, 0.0);
  return model;
}

std::vector<double> predicted_data(const Ground& ground, const Observations& observations,
                                   View1<const double> model) {
  std::vector<double> data = allocate<double>(as_size(observations.ndata), kRoutine);
  for_each_row_batch(ground, observations, "predicted data: datum", [&](const RowBatch& batch) {
    const auto rows = static_cast<std::int32_t>(batch.rows.size());
#pragma omp parallel for schedule(static, 1) default(none) shared(batch, rows, model, data)
    for (std::int32_t t = 0; t < rows; ++t) {
      const View1<double>& row = batch.rows[as_size(t)];
      data[as_size(batch.first - 1 + t)] =
          std::inner_product(row.begin(), row.end(), model.begin(), 0.0);
    }
  });
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
