// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "workbench/export/model_grid.h"
#include "workbench/export/slices.h"
#include "workbench/results/finished_run.h"

namespace quorivex {

/// Options of the slices that `qvx export` writes.
struct SliceOptions {
  std::string folder;  ///< empty for no slices
  std::vector<double> elevations;
  std::vector<double> depths;
  std::vector<double> eastings;
  std::vector<double> northings;
  std::vector<double> range;  ///< two values, or none
};

/// Adds --slices, the places and --range.
void add_slice_options(CLI::App& command, SliceOptions& options);

/// The places in the order of the options.
/// @throws StopRun without places or a folder for them, with too many, and for a wrong range
std::vector<SlicePlace> slice_places(const SliceOptions& options, std::size_t iterations);

/// Files of a slice, without the number of an iteration.
std::vector<std::string> slice_files(const std::string& folder, const SlicePlace& place,
                                     bool has_crs);

/// Makes the folder where it is missing. @throws StopRun where that fails or it is none
void make_slice_folder(const std::string& folder);

/// Slices of models of a run.
struct SliceExport {
  std::string folder;
  std::vector<SlicePlace> places;
  std::string crs;                 ///< "EPSG:32754"; empty if not known
  std::optional<std::string> prj;  ///< contents of .prj files
  ValueRange range;                ///< of the colours
  std::string range_words;         ///< where it comes from
  std::function<std::string(const std::string& file, std::int32_t iteration)> name;
};

/// What they have in common. `read(n)` gives the models whose range the colours span.
SliceExport plan_slices(const SliceOptions& options, std::vector<SlicePlace> places,
                        const std::string& crs, std::size_t models,
                        const std::function<ModelGrid(std::size_t)>& read);

/// Writes those of a model; `warn` whether to say which library is missing.
void write_slices(const SliceExport& slices, const FinishedRun& run, std::int32_t iteration,
                  const ModelGrid& grid, bool warn);

}  // namespace quorivex
