// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/build_sensitivity.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <utility>

#include "base/multiversion.h"
#include "base/record_writer.h"
#include "base/stop_run.h"
#include "base/uninitialized_array.h"
#include "inversion/mesh_io/describe_mesh.h"
#include "inversion/sensitivity/wtn_mod.h"
#include "workbench/forward/data_rows.h"
#include "workbench/forward/square_sums.h"
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
  std::vector<double> inverse_wtz;
  const BuildOptions& options;
  WTN_MOD::Filter filter;
  Counts counts{};
  std::int64_t points = 0;        // of the wavelet grid
  std::vector<TestModel> models;  // compressed form only
  RowLayout layout;

  bool compressed() const { return options.compressed(); }
  std::int64_t row_size() const { return compressed() ? points : ground.cells(); }
};

/// What a thread keeps from row to row; made before the threads start.
struct RowWork {
  explicit RowWork(const Setup& setup)
      : prism(setup.ground.mesh),
        row(setup.row_size(), kRoutine),
        kept(setup.row_size()),
        scratch(setup.counts),
        classes(setup.row_size()),
        model_errors(setup.models.size()) {}

  PrismScratch prism;
  UninitializedArray<double> row;  // the wavelet grid, or the ground cells in full form
  CompressedRow kept;
  WTN_MOD::Scratch scratch;
  SizeClasses classes;
  std::vector<double> model_errors;  // nT
};

std::string_view i4(const std::int32_t& number) { return bytes_of(&number, 1); }

Setup make_setup(const Ground& ground, const Observations& observations,
                 const std::vector<double>& wtz, const BuildOptions& options) {
  Setup setup{.ground = ground,
              .observations = observations,
              .wtz = wtz,
              .inverse_wtz = allocate<double>(wtz.size(), kRoutine),
              .options = options,
              .filter = WTN_MOD::filter_setup(options.low_pass),
              .models = {},
              .layout = {}};
  for (std::size_t c = 0; c < wtz.size(); ++c) setup.inverse_wtz[c] = 1.0 / wtz[c];
  setup.counts = {ground.mesh.nz, ground.mesh.ne, ground.mesh.nn};
  if (!setup.compressed()) return setup;
  setup.counts = wavelet_grid(ground.mesh);
  setup.points = std::int64_t{setup.counts[0]} * setup.counts[1] * setup.counts[2];
  setup.layout = {.depth = setup.counts[0], .east = setup.counts[1]};
  setup.models = test_models(ground);
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

/// to(k) = cells(k) a b(k)
QUORIVEX_MULTIVERSIONED
void scale_cells(const double* cells, std::int64_t count, double a, const double* b, double* to) {
#pragma omp simd
  for (std::int64_t k = 0; k < count; ++k) to[k] = cells[k] * a * b[k];
}

/// The row of datum i divided by its standard deviation and the scale of the cells.
void fill_row(const Setup& setup, std::int32_t i, double std, RowWork& work) {
  const std::int32_t nz = setup.ground.mesh.nz;
  const double inverse_std = 1.0 / std;
  data_row(setup.ground, setup.observations, i, work.prism,
           [&](const GridColumn& column, const double* cells) {
             double* const to = work.row.data() + setup.layout.begin(column);
             const std::int32_t count = nz - column.top;
             scale_cells(cells, count, inverse_std, setup.inverse_wtz.data() + column.before, to);
             if (setup.compressed()) std::fill(to - column.top, to, 0.0);
           });
}

void full_row(RowWork& work) {
  CompressedRow& kept = work.kept;
  kept.count = static_cast<std::int32_t>(work.row.size());
  kept.finite = true;
  for (std::int64_t c = 0; c < work.row.size(); ++c) {
    kept.values.data()[c] = static_cast<float>(work.row.data()[c]);
    kept.finite = kept.finite && std::isfinite(kept.values.data()[c]);
  }
}

/// What dropping coefficients of a datum does to its predicted values. What was dropped, back in
/// the cells, takes the place of the row.
void try_models(const Setup& setup, double std, RowWork& work) {
  const CompressedRow& kept = work.kept;
  for (std::int32_t n = 0; n < kept.count; ++n) {
    work.row.data()[kept.positions.data()[n] - 1] -= static_cast<double>(kept.values.data()[n]);
  }
  WTN_MOD::WTN(setup.filter, work.row.view(), setup.counts, -1, work.scratch);
  std::fill(work.model_errors.begin(), work.model_errors.end(), 0.0);
  for_each_column(setup.ground, [&](const GridColumn& column) {
    const double* const dropped = work.row.data() + setup.layout.begin(column);
    for (std::int32_t k = 0; k < setup.ground.mesh.nz - column.top; ++k) {
      const std::size_t cell = as_size(column.before + k);
      const double error = std * setup.wtz[cell] * dropped[k];
      for (std::size_t m = 0; m < setup.models.size(); ++m) {
        work.model_errors[m] += error * static_cast<double>(setup.models[m].cells[cell]);
      }
    }
  });
}

/// Whether the test models are tried on datum i: `of` data, evenly spread.
bool is_tried(std::int64_t i, std::int64_t ndata, std::int64_t of) {
  return i * of / ndata > (i - 1) * of / ndata;
}

void write_row(const Setup& setup, std::int32_t datum, const RowWork& work,
               const RecordSink& sink) {
  if (!work.kept.finite) {
    stop_run(
        fmt::format(" ERROR: the sensitivities of datum {} exceed single precision when they are "
                    "divided by its\n"
                    " standard deviation, {} nT, and by the scale of the cells. Check both.",
                    datum, setup.observations.std[as_size(datum - 1)]));
  }
  const CompressedRow& kept = work.kept;
  if (!setup.compressed()) {
    sink({bytes_of(kept.values.data(), kept.count)});
    return;
  }
  if (!fits_record(4 + std::int64_t{8} * kept.count)) {
    stop_run(fmt::format(
        " ERROR: the row of datum {} keeps {} coefficients, more than a record of the sensitivity\n"
        " file can frame (268435455). Allow a larger error, or make the mesh coarser.",
        datum, kept.count));
  }
  sink({i4(kept.count), bytes_of(kept.positions.data(), kept.count),
        bytes_of(kept.values.data(), kept.count)});
}

/// The rows of a process on their way, and what is known of all of them so far.
struct Build {
  Build(const Setup& of, ranks::Team by);

  const Setup& setup;
  ranks::Team team;
  std::vector<RowWork> works;  // of each thread
  SquareSums squares;
  DataProgress progress;
  BuildSummary summary;
  std::vector<double> model_errors;  // nT, of each tried datum those of all models
};

Build::Build(const Setup& of, ranks::Team by)
    : setup(of),
      team(by),
      squares(of.ground, of.observations.ndata, by),
      progress("sensitivities: datum", of.observations.ndata, by) {
  const std::int32_t ndata = setup.observations.ndata;
  const int threads = threads_for(setup.observations);
  works.reserve(as_size(threads));
  for (int t = 0; t < threads; ++t) works.emplace_back(setup);
  summary.tried_rows = std::min(ndata, setup.options.tried_rows);
  if (!setup.compressed()) return;
  summary.row_errors.resize(as_size(ndata));
  model_errors.resize(as_size(summary.tried_rows) * setup.models.size());
}

void add_to_summary(const RowWork& work, std::int32_t i, bool tried, Build& build) {
  build.summary.coefficients += work.kept.count;
  if (!build.setup.compressed()) return;
  build.summary.row_errors[as_size(i - 1)] = work.kept.relative_error;
  if (!tried) return;
  const std::int32_t ndata = build.setup.observations.ndata;
  const std::int64_t before = std::int64_t{i - 1} * build.summary.tried_rows / ndata;
  std::copy(work.model_errors.begin(), work.model_errors.end(),
            build.model_errors.begin() + before * length(work.model_errors));
}

/// Computes the rows of the range and hands their records to `sink` in their order.
void build_rows(const DataRange& range, Build& build, const RecordSink& sink) {
  const Setup& setup = build.setup;
  const Observations& observations = setup.observations;
  const auto file_turn = as_size(setup.ground.mesh.nn);
  Turns turns(file_turn + 1, range.first);
  const auto work_on = [&](std::int32_t i, int thread) {
    RowWork& work = build.works[as_size(thread)];
    const double std = observations.std[as_size(i - 1)];
    fill_row(setup, i, std, work);
    build.squares.add(setup.layout, work.row.view(), std, i, turns);
    const bool tried =
        setup.compressed() && is_tried(i, observations.ndata, build.summary.tried_rows);
    if (setup.compressed()) {
      const Mesh& mesh = setup.ground.mesh;
      WTN_MOD::transform_padded(setup.filter, work.row.view(), setup.counts,
                                {mesh.nz, mesh.ne, mesh.nn}, work.scratch);
      compress_row(work.row.view(), setup.ground.cells(), setup.options.rule, work.classes,
                   work.kept);
      if (tried) try_models(setup, std, work);
    } else {
      full_row(work);
    }
    if (!turns.await(file_turn, i)) return;
    write_row(setup, i, work, sink);
    add_to_summary(work, i, tried, build);
    turns.pass(file_turn, i);
  };
  for_each_datum(range, static_cast<int>(build.works.size()), build.progress, &turns, work_on);
}

/// What is known of all rows, in the order of the data. Collective where all processes build.
BuildSummary finish(Build& build) {
  BuildSummary& summary = build.summary;
  summary.gdiag = build.squares.take();
  if (build.team == ranks::Team::all) {
    summary.coefficients = ranks::sum(summary.coefficients);
    ranks::merge(summary.row_errors);
    ranks::merge(build.model_errors);
  }
  const std::size_t models = build.setup.models.size();
  for (std::size_t m = 0; m < models; ++m) {
    PredictionError error{build.setup.models[m].name};
    for (std::size_t n = m; n < build.model_errors.size(); n += models) {
      error.rms += build.model_errors[n] * build.model_errors[n];
      error.largest = std::max(error.largest, std::abs(build.model_errors[n]));
    }
    error.rms = std::sqrt(error.rms / summary.tried_rows);
    summary.prediction_errors.push_back(error);
  }
  return std::move(summary);
}

/// Writes the rows of a round from the place `begin` of the file, each process after those of lower
/// ranks; returns where they end. The length of compressed rows is known when they are made: those
/// of a group wait in memory.
std::int64_t write_round(const DataRange& range, std::int64_t begin, Build& build,
                         SharedFile& file) {
  if (!build.setup.compressed()) {
    const std::int64_t rows = range.last + 1 - range.first;
    const auto [before, total] =
        ranks::prefix_sum(rows * (kFrameBytes + 4 * build.setup.ground.cells()));
    file.seek(begin + before);
    build_rows(range, build, [&](auto parts) { write_record(file, parts); });
    return begin + total;
  }
  std::string rows;
  build_rows(range, build, [&](auto parts) { write_record(rows, parts); });
  const auto [before, total] = ranks::prefix_sum(length(rows));
  file.seek(begin + before);
  file.append(rows);
  return begin + total;
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
  std::int64_t bytes = 0;
  const RecordSink counted = [&](auto parts) {
    sink(parts);
    bytes += framed_bytes(parts);
  };
  write_head(setup, counted);
  Build build(setup, ranks::Team::alone);
  build_rows({1, observations.ndata}, build, counted);
  BuildSummary summary = finish(build);
  counted({bytes_of(summary.gdiag)});
  summary.bytes = bytes;
  return summary;
}

BuildSummary build_sensitivity_file(const Ground& ground, const Observations& observations,
                                    const std::vector<double>& wtz, const BuildOptions& options,
                                    SharedFile& file) {
  if (ranks::count() == 1) {
    return build_sensitivity(ground, observations, wtz, options,
                             [&](auto parts) { write_record(file, parts); });
  }
  check_fits_file(ground.mesh, ground.cells(), options.compressed());
  const Setup setup = make_setup(ground, observations, wtz, options);
  std::int64_t end = 0;
  const RecordSink write = [&](auto parts) {
    if (ranks::is_first()) write_record(file, parts);
    end += framed_bytes(parts);
  };
  write_head(setup, write);
  Build build(setup, ranks::Team::all);
  for_each_round(observations.ndata, ranks::Team::all, [&](const DataRange& range) {
    end = write_round(range, end, build, file);
    build.squares.end_round();
  });
  BuildSummary summary = finish(build);
  file.seek(end);
  write({bytes_of(summary.gdiag)});
  summary.bytes = end;
  return summary;
}

}  // namespace quorivex
