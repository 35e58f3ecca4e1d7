// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/build_sensitivity.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

#include "base/record_writer.h"
#include "base/stop_run.h"
#include "base/uninitialized_array.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/sensitivity/wtn_mod.h"
#include "workbench/forward/data_rows.h"
#include "workbench/forward/test_models.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "build_sensitivity";

using Counts = std::array<std::int32_t, 3>;

/// What the rows have in common.
struct Setup {
  const Ground& ground;
  const Observations& observations;
  const std::vector<double>& wtz;
  const BuildOptions& options;
  WTN_MOD::Filter filter;
  Counts counts{};
  std::int64_t points = 0;                       // of the wavelet grid
  std::vector<TestModel> models;                 // compressed form only
  std::vector<std::vector<double>> model_grids;  // transforms of the scaled test models

  bool compressed() const { return options.compressed(); }
};

/// One row on its way to the file; made before the threads start.
struct RowWork {
  explicit RowWork(const Setup& setup)
      : values(setup.compressed() ? setup.points : setup.ground.cells(), kRoutine),
        scratch(setup.counts) {
    if (!setup.compressed()) return;
    positions = UninitializedArray<std::int32_t>(setup.points, kRoutine);
    grid = allocate<double>(as_size(setup.points), kRoutine);
    squares.reserve(grid.size());  // room for the worst case, which costs nothing until it is used
    model_errors.resize(setup.models.size());
  }

  UninitializedArray<float> values;
  UninitializedArray<std::int32_t> positions;
  std::int32_t count = 0;  // of values
  std::vector<double> grid;
  std::vector<double> squares;
  WTN_MOD::Scratch scratch;
  bool finite = true;  // every value fits single precision
  double relative_error = 0.0;
  std::vector<double> model_errors;  // nT
};

std::string_view i4(const std::int32_t& number) { return bytes_of(&number, 1); }

/// grid = the values of the ground cells, value(c, cell number from 0), in their places.
template <class Value>
void fill_grid(const Ground& ground, const Counts& counts, std::vector<double>& grid, Value value) {
  std::fill(grid.begin(), grid.end(), 0.0);
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const std::int64_t line = at.i - 1 + std::int64_t{at.j - 1} * counts[1];
    grid[as_size(at.k - 1 + line * counts[0])] = value(as_size(at.below - 1));
  });
}

Setup make_setup(const Ground& ground, const Observations& observations,
                 const std::vector<double>& wtz, const BuildOptions& options) {
  Setup setup{.ground = ground,
              .observations = observations,
              .wtz = wtz,
              .options = options,
              .filter = WTN_MOD::filter_setup(options.low_pass),
              .models = {},
              .model_grids = {}};
  setup.counts = {ground.mesh.nz, ground.mesh.ne, ground.mesh.nn};
  if (!setup.compressed()) return setup;
  setup.counts = wavelet_grid(ground.mesh);
  setup.points = std::int64_t{setup.counts[0]} * setup.counts[1] * setup.counts[2];
  setup.models = test_models(ground);
  for (const TestModel& model : setup.models) {
    std::vector<double>& grid =
        setup.model_grids.emplace_back(allocate<double>(as_size(setup.points), kRoutine));
    fill_grid(ground, setup.counts, grid, [&](std::size_t c) { return wtz[c] * model.cells[c]; });
    WTN_MOD::WTN(setup.filter, grid, setup.counts, 1);
  }
  return setup;
}

void write_head(const Setup& setup, const RecordSink& sink) {
  const Mesh& m = setup.ground.mesh;
  const auto nsens = static_cast<std::int32_t>(setup.ground.cells());
  const auto nfilt = static_cast<std::int32_t>(setup.options.low_pass.size());
  sink({i4(setup.observations.ndata), i4(nsens), i4(m.nn), i4(m.ne), i4(m.nz)});
  sink({bytes_of(m.northing_nodes), bytes_of(m.easting_nodes), bytes_of(m.depth_nodes),
        bytes_of(&m.z0, 1)});
  sink({bytes_of(setup.ground.tops.tops)});
  sink({i4(nfilt), bytes_of(setup.options.low_pass)});
  sink({i4(setup.counts[2]), i4(setup.counts[1]), i4(setup.counts[0])});
  sink({i4(nsens), bytes_of(setup.wtz)});
}

void full_row(const Setup& setup, View1<double> row, double std, RowWork& work) {
  work.count = static_cast<std::int32_t>(row.size());
  work.finite = true;
  for (std::size_t c = 0; c < setup.wtz.size(); ++c) {
    work.values.data()[c] = static_cast<float>(row.data()[c] / (std * setup.wtz[c]));
    work.finite = work.finite && std::isfinite(work.values.data()[c]);
  }
}

/// Moves the coefficients above the threshold into the row, and measures the error made by
/// dropping the others.
void pick_coefficients(const Setup& setup, CoefficientThreshold threshold, double std,
                       RowWork& work) {
  double energy = 0.0;
  double dropped = 0.0;
  work.count = 0;
  work.finite = true;
  std::fill(work.model_errors.begin(), work.model_errors.end(), 0.0);
  for (std::size_t p = 0; p < work.grid.size(); ++p) {
    const double c = work.grid[p];
    energy += c * c;
    const auto stored = threshold.keeps(c) ? static_cast<float>(c) : 0.0F;
    const double error = c - static_cast<double>(stored);
    dropped += error * error;
    for (std::size_t m = 0; m < work.model_errors.size(); ++m) {
      work.model_errors[m] += std * error * setup.model_grids[m][p];
    }
    if (stored == 0.0F) continue;
    work.positions.data()[work.count] = static_cast<std::int32_t>(p) + 1;
    work.values.data()[work.count] = stored;
    work.finite = work.finite && std::isfinite(stored);
    ++work.count;
  }
  work.relative_error = energy > 0.0 ? std::sqrt(dropped / energy) : 0.0;
}

void compressed_row(const Setup& setup, View1<double> row, double std, RowWork& work) {
  fill_grid(setup.ground, setup.counts, work.grid,
            [&](std::size_t c) { return row.data()[c] / (std * setup.wtz[c]); });
  WTN_MOD::WTN(setup.filter, work.grid, setup.counts, 1, work.scratch);
  const CoefficientThreshold threshold =
      choose_threshold(work.grid, row.size(), setup.options.rule, work.squares);
  pick_coefficients(setup, threshold, std, work);
}

void write_row(const Setup& setup, std::int32_t datum, const RowWork& work,
               const RecordSink& sink) {
  if (!work.finite) {
    stop_run(
        fmt::format(" ERROR: the sensitivities of datum {} exceed single precision when they are "
                    "divided by its\n"
                    " standard deviation, {} nT, and by the scale of the cells. Check both.",
                    datum, setup.observations.std[as_size(datum - 1)]));
  }
  if (!setup.compressed()) {
    sink({bytes_of(work.values.data(), work.count)});
    return;
  }
  if (!fits_record(4 + std::int64_t{8} * work.count)) {
    stop_run(fmt::format(
        " ERROR: the row of datum {} keeps {} coefficients, more than a record of the sensitivity\n"
        " file can frame (268435455). Allow a larger error, or make the mesh coarser.",
        datum, work.count));
  }
  sink({i4(work.count), bytes_of(work.positions.data(), work.count),
        bytes_of(work.values.data(), work.count)});
}

void add_to_summary(const Setup& setup, const RowWork& work, BuildSummary& summary) {
  summary.coefficients += work.count;
  if (!setup.compressed()) return;
  summary.row_errors.push_back(work.relative_error);
  for (std::size_t m = 0; m < work.model_errors.size(); ++m) {
    PredictionError& error = summary.prediction_errors[m];
    error.rms += work.model_errors[m] * work.model_errors[m];
    error.largest = std::max(error.largest, std::abs(work.model_errors[m]));
  }
}

}  // namespace

std::array<std::int32_t, 3> wavelet_grid(const Mesh& mesh) {
  constexpr std::int64_t kMaxPoints = std::numeric_limits<std::int32_t>::max();
  const auto points = [](std::int32_t cells) {
    return std::int64_t{1} << std::bit_width(static_cast<std::uint32_t>(cells) - 1);
  };
  const std::int64_t depth = points(mesh.nz);
  const std::int64_t east = points(mesh.ne);
  const std::int64_t north = points(mesh.nn);
  if (depth * east > kMaxPoints || north > kMaxPoints / (depth * east)) {
    stop_run(fmt::format(
        " ERROR: the wavelet grid of {} (the next powers\n"
        " of two of the mesh's counts) exceeds 2147483647 points. Make the mesh coarser.",
        format_counts(east, north, depth, "points")));
  }
  return {static_cast<std::int32_t>(depth), static_cast<std::int32_t>(east),
          static_cast<std::int32_t>(north)};
}

void check_fits_file(const Mesh& mesh, std::int64_t cells, bool compressed) {
  // The longest record with a value per cell holds wtz: a count and 8 bytes each.
  if (!fits_record(4 + 8 * cells)) {
    stop_run(fmt::format(
        " ERROR: {} cells below the ground are more than a sensitivity file can hold (268435455).\n"
        " Make the mesh coarser.",
        cells));
  }
  if (compressed) wavelet_grid(mesh);
}

RowErrors row_errors(const BuildSummary& summary) {
  std::vector<double> errors = summary.row_errors;
  std::sort(errors.begin(), errors.end());
  const auto count = static_cast<double>(errors.size());
  const auto p95 = static_cast<std::size_t>(0.95 * (count - 1.0));
  return {.mean = std::accumulate(errors.begin(), errors.end(), 0.0) / count,
          .p95 = errors[p95],
          .largest = errors.back()};
}

BuildSummary build_sensitivity(const Ground& ground, const Observations& observations,
                               const std::vector<double>& wtz, const BuildOptions& options,
                               const RecordSink& sink) {
  check_fits_file(ground.mesh, ground.cells(), options.compressed());
  const Setup setup = make_setup(ground, observations, wtz, options);
  write_head(setup, sink);
  BuildSummary summary;
  for (const TestModel& model : setup.models) summary.prediction_errors.push_back({model.name});
  summary.gdiag = allocate<double>(wtz.size(), kRoutine);
  std::vector<RowWork> works;
  for_each_row_batch(ground, observations, "sensitivities: datum", [&](const RowBatch& batch) {
    const auto rows = static_cast<std::int32_t>(batch.rows.size());
    while (works.size() < batch.rows.size()) works.emplace_back(setup);
    add_squares(batch, wtz, summary.gdiag);
#pragma omp parallel for schedule(static, 1) num_threads(rows) default(none) \
    shared(setup, observations, batch, works, rows)
    for (std::int32_t t = 0; t < rows; ++t) {
      const double std = observations.std[as_size(batch.first - 1 + t)];
      const auto convert = setup.compressed() ? compressed_row : full_row;
      convert(setup, batch.rows[as_size(t)], std, works[as_size(t)]);
    }
    for (std::int32_t t = 0; t < rows; ++t) {
      write_row(setup, batch.first + t, works[as_size(t)], sink);
      add_to_summary(setup, works[as_size(t)], summary);
    }
  });
  sink({bytes_of(summary.gdiag)});
  for (PredictionError& error : summary.prediction_errors) {
    error.rms = std::sqrt(error.rms / observations.ndata);
  }
  return summary;
}

}  // namespace quorivex
