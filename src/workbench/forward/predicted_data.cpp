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
  std::vector<PrismScratch> scratch(as_size(threads_for(observations)), PrismScratch(ground.mesh));
  for_each_datum(observations, "predicted data: datum", nullptr, [&](std::int32_t i, int thread) {
    double sum = 0.0;
    data_row(ground, observations, i, scratch[as_size(thread)],
             [&](const GridColumn& column, const double* cells) {
               const double* const values = model.data() + column.before;
               sum = std::inner_product(cells, cells + (ground.mesh.nz - column.top), values, sum);
             });
    data[as_size(i - 1)] = sum;
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
