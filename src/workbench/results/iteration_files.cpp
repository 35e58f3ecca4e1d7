// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/iteration_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <new>

#include "base/list_reader.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"
#include "workbench/results/smallness.h"

namespace quorivex {
namespace {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();
// Half a unit of the last digit that is printed, of predicted data and of the misfit.
constexpr double kHalfUnit = 0.5e-6;

/// The values of a model file; memory follows the file, not the size that the mesh claims.
std::vector<double> read_values(const std::string& name, std::int64_t cells) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("model", name);
  std::error_code missing;
  const auto bytes = static_cast<std::int64_t>(std::filesystem::file_size(name, missing));
  std::vector<double> values;
  FreeFormat from(*file);
  try {
    if (!missing) reserve_checked(values, as_size(std::min(cells, bytes / 2 + 1)));
    for (std::int64_t cell = 1; cell <= cells; ++cell) {
      double value = 0.0;
      const Read read = from.next(value);
      if (read != Read::value) list_error(read, "model file", name, from);
      append_checked(values, value);
    }
  } catch (const std::bad_alloc&) {
    alloc_error("read_model");
  }
  expect_no_more(from, "model file", name);
  return values;
}

[[noreturn]] void wrong_tops(const FinishedRun& run, const std::string& name, const GridCell& at,
                             double value) {
  stop_run(
      fmt::format(" ERROR: cell (layer {}, column {}, row {}) is {} in {}, but {} has {}.\n"
                  " Model and sensitivity file are of different runs: run quorivex {} again.",
                  at.k, at.i, at.j, at.air() ? "air" : "ground", run.parameters.mtxFile, name,
                  value, run.input_file));
}

/// Compares the smallness of a model with the one that the run states for its iteration.
void check_iteration(const FinishedRun& run, const FinishedIteration& iteration,
                     const std::vector<double>& model) {
  const std::optional<Smallness> found = smallness(run, model);
  const double stated = iteration.row.norm.s;
  if (!found ||
      std::abs(found->value - stated) <= 2.0 * (found->rounding + kHalfUnit * std::abs(stated))) {
    return;
  }
  stop_run(fmt::format(
      " ERROR: the model in {} has a smallness norm of {:.6g}, but the run states "
      "{:.6g} for iteration {}.\n The file is of another iteration or run, or was changed since, "
      "or the sensitivity file, the reference\n model, the active cells or the 3-D "
      "weights were: run quorivex {} again.",
      iteration.model_file, found->value, stated, iteration.row.iteration, run.input_file));
}

}  // namespace

std::vector<double> read_model(const FinishedRun& run, const FinishedIteration& iteration) {
  const bool all_active = is_null(run.parameters.activeCellFile);
  std::vector<double> values = read_values(iteration.model_file, run.ground->mesh.cells());
  const View1<double> model(values);
  for_each_cell(*run.ground, [&](const GridCell& at) {
    double& value = model(at.cell);
    const bool marked = value == kAirValue;
    if (at.air() != marked && (at.air() || all_active)) {
      wrong_tops(run, iteration.model_file, at, value);
    }
    if (marked) value = kNoValue;
  });
  check_iteration(run, iteration, values);
  return values;
}

std::vector<double> read_predicted(const FinishedRun& run, const FinishedIteration& iteration) {
  const Observations& data = run.observations;
  std::vector<double> predicted = read_predicted_data(iteration.predicted_file, data);
  double misfit = 0.0;
  double rounding = 0.0;  // that the digits of the file may make in it
  for (std::size_t i = 0; i < predicted.size(); ++i) {
    const double residual = data.obs[i] - predicted[i] / data.std[i];
    const double digits = kHalfUnit * std::abs(predicted[i]) / data.std[i];
    misfit += residual * residual;
    rounding += digits * (2.0 * std::abs(residual) + digits);
  }
  const double stated = iteration.row.misfit;
  if (!(std::abs(misfit - stated) <= 2.0 * (rounding + kHalfUnit * stated) + 1e-9)) {
    stop_run(fmt::format(
        " ERROR: the predicted data in {} have a misfit of {:.6g}, but the run states {:.6g} for "
        "iteration {}.\n The file is of another run, or {} was changed since: run quorivex {} "
        "again.",
        iteration.predicted_file, misfit, stated, iteration.row.iteration, run.parameters.obsFile,
        run.input_file));
  }
  return predicted;
}

DataFit data_fit(const Observations& observations, std::vector<double> predicted) {
  DataFit fit;
  fit.predicted = std::move(predicted);
  const std::size_t ndata = fit.predicted.size();
  fit.observed = allocate<double>(ndata, "data_fit");
  fit.residual = allocate<double>(ndata, "data_fit");
  fit.normalised = allocate<double>(ndata, "data_fit");
  for (std::size_t i = 0; i < ndata; ++i) {
    const double std = observations.std[i];
    fit.observed[i] = observations.obs[i] * std;
    fit.residual[i] = fit.observed[i] - fit.predicted[i];
    fit.normalised[i] = fit.residual[i] / std;
  }
  return fit;
}

}  // namespace quorivex
