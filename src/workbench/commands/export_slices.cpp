// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/export_slices.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "base/atomic_file.h"
#include "base/library_files.h"
#include "base/stop_run.h"
#include "workbench/commands/options.h"
#include "workbench/export/ascii_grid.h"
#include "workbench/export/slice_pictures.h"
#include "workbench/gdal/crs_definition.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

// Seconds of a processor for a file, many times what it takes.
constexpr std::uint64_t kTiffSeconds = 300;  // of up to a hundred million points
constexpr std::uint64_t kPictureSeconds = 10;
constexpr std::size_t kMostSlices = 10'000;  // times iterations

std::string slice_file(const std::string& folder, const SlicePlace& place, const char* extension) {
  return (fs::path(folder) / (slice_name(place) + extension)).string();
}

std::string file_of(const SliceExport& slices, const SlicePlace& place, const char* extension,
                    std::int32_t iteration) {
  return slices.name(slice_file(slices.folder, place, extension), iteration);
}

std::vector<std::string> files_of(const SliceExport& slices, const std::vector<SlicePlace>& places,
                                  const char* extension, std::int32_t iteration) {
  std::vector<std::string> names;
  names.reserve(places.size());
  for (const SlicePlace& place : places) {
    names.push_back(file_of(slices, place, extension, iteration));
  }
  return names;
}

std::vector<SlicePlace> plans_of(const SliceExport& slices) {
  std::vector<SlicePlace> plans;
  std::copy_if(slices.places.begin(), slices.places.end(), std::back_inserter(plans), is_plan);
  return plans;
}

RasterTexts texts_of(const SliceExport& slices, const SlicePlace& place, std::int32_t iteration) {
  const bool depth = place.kind == SliceKind::depth;
  return {.crs = slices.crs,
          .description = slice_title(place),
          .unit = "SI",
          .metadata = {{"quantity", "magnetic susceptibility"},
                       {"unit", "SI"},
                       {depth ? "depth_below_ground_m" : "elevation_m",
                        fmt::format("{:.10g}", place.metres)},
                       {"iteration", std::to_string(iteration)}}};
}

/// Returns whether GDAL is there to write them.
bool write_tiffs(const SliceExport& slices, const std::vector<SlicePlace>& plans,
                 const Ground& ground, std::int32_t iteration, const ModelGrid& grid) {
  const std::vector<std::string> names = files_of(slices, plans, ".tif", iteration);
  const double cell = raster_cell(grid);
  const auto make = [&](std::size_t n) {
    return geotiff_bytes(names[n], raster_of(cut_model(grid, ground, plans[n]), cell),
                         texts_of(slices, plans[n], iteration));
  };
  return write_library_files(names, make, "GDAL", kTiffSeconds);
}

/// Returns whether cairo is there to draw them.
bool write_pictures(const SliceExport& slices, const FinishedRun& run, std::int32_t iteration,
                    const ModelGrid& grid) {
  const std::vector<std::string> names = files_of(slices, slices.places, ".png", iteration);
  const auto make = [&](std::size_t n) {
    const SlicePlace& place = slices.places[n];
    Picture picture = picture_of(cut_model(grid, *run.ground, place), place, run.observations);
    picture.min = slices.range.min;
    picture.max = slices.range.max;
    std::vector<std::string> words{fmt::format("Iteration {}", iteration)};
    if (!slices.crs.empty()) words.push_back(slices.crs);
    words.push_back(fs::path(run.input_file).filename().string());  // last: it may be cut
    picture.captions = {fmt::format("{}", fmt::join(words, ", ")), slices.range_words};
    if (!picture.dots.empty()) picture.captions.back() += "; dots: data stations";
    if (!picture.is_map) {
      picture.captions.back() +=
          fmt::format("; vertical exaggeration {:g}", layout_of(picture).exaggeration);
    }
    return png_bytes(names[n], picture);
  };
  return write_library_files(names, make, "cairo", kPictureSeconds);
}

void write_grids(const SliceExport& slices, const SlicePlace& place, std::int32_t iteration,
                 const Raster& raster) {
  write_ascii_grid(file_of(slices, place, ".asc", iteration), raster);
  const std::string prj_name = file_of(slices, place, ".prj", iteration);
  if (!slices.prj) {
    std::error_code none;
    fs::remove(prj_name, none);  // that of an earlier export would place this grid
    return;
  }
  AtomicFile prj(prj_name);
  prj.append(*slices.prj + "\n");
  prj.commit();
}

/// "800 of 900 cells with a value, 0 to 0.05 SI"
std::string describe_values(const std::vector<double>& values) {
  ValueRange range;
  for (const double value : values) {
    if (std::isnan(value)) continue;
    range.min = range.count == 0 ? value : std::min(range.min, value);
    range.max = range.count == 0 ? value : std::max(range.max, value);
    ++range.count;
  }
  if (range.count == 0) return "no cell of it lies below the ground";
  return fmt::format("{} of {} cells below the ground, {:.6g} to {:.6g} SI", range.count,
                     values.size(), range.min, range.max);
}

}  // namespace

void add_slice_options(CLI::App& command, SliceOptions& options) {
  auto* const folder = command
                           .add_option("--slices", options.folder,
                                       "Slices of the model into this folder, made if missing:\n"
                                       "plans as GeoTIFF, ESRI ASCII grid and PNG picture,\n"
                                       "vertical sections as PNG")
                           ->type_name("FOLDER");
  const auto add = [&](const char* name, auto& values, double min, const char* help) {
    command.add_option(name, values, help)
        ->type_name("M,M")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(number(min, kMaxLength))
        ->needs(folder);
  };
  add("--elevations", options.elevations, -kMaxLength, "Horizontal slices at these elevations");
  add("--depths", options.depths, 0.0,
      "Slices so far below the ground of each column, which is\n"
      "the top of its cells");
  add("--eastings", options.eastings, -kMaxLength, "Vertical sections from south to north");
  add("--northings", options.northings, -kMaxLength, "Vertical sections from west to east");
  command
      .add_option("--range", options.range,
                  "Susceptibilities (SI) of the first and the last colour\n"
                  "of all pictures [smallest and largest of the models]")
      ->type_name("MIN,MAX")
      ->delimiter(',')
      ->expected(2)
      ->check(number(-1e30, 1e30))
      ->needs(folder);
}

std::vector<SlicePlace> slice_places(const SliceOptions& options, std::size_t iterations) {
  std::vector<SlicePlace> places;
  if (options.folder.empty()) return places;
  const auto add = [&](SliceKind kind, const std::vector<double>& metres) {
    for (const double m : metres) places.push_back({kind, m});
  };
  add(SliceKind::elevation, options.elevations);
  add(SliceKind::depth, options.depths);
  add(SliceKind::easting, options.eastings);
  add(SliceKind::northing, options.northings);
  if (places.empty()) {
    stop_run(
        " ERROR: --slices needs the places: --elevations, --depths, --eastings or --northings.");
  }
  if (places.size() * iterations > kMostSlices) {
    stop_run(fmt::format(" ERROR: {} slices of {} iterations are more than {}.", places.size(),
                         iterations, kMostSlices));
  }
  if (!options.range.empty() && !(options.range[0] < options.range[1])) {
    stop_run(fmt::format(" ERROR: --range should be a smaller and a larger value, not {:g},{:g}.",
                         options.range[0], options.range[1]));
  }
  return places;
}

std::vector<std::string> slice_files(const std::string& folder, const SlicePlace& place,
                                     bool has_crs) {
  std::vector<std::string> files{slice_file(folder, place, ".png")};
  if (!is_plan(place)) return files;
  files.push_back(slice_file(folder, place, ".tif"));
  files.push_back(slice_file(folder, place, ".asc"));
  if (has_crs) files.push_back(slice_file(folder, place, ".prj"));
  return files;
}

void make_slice_folder(const std::string& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (fs::is_directory(folder)) return;
  stop_run(fmt::format(" ERROR: the folder {} cannot be made: {}.", folder,
                       error ? error.message() : "a file has its name"));
}

SliceExport plan_slices(const SliceOptions& options, std::vector<SlicePlace> places,
                        const std::string& crs, std::size_t models,
                        const std::function<ModelGrid(std::size_t)>& read) {
  SliceExport slices;
  slices.folder = options.folder;
  slices.places = std::move(places);
  slices.crs = crs;
  if (const auto definition = crs.empty() ? std::nullopt : define_crs(crs)) {
    slices.prj = definition->esri_wkt;
  }
  if (!options.range.empty()) {
    slices.range = {.count = 0, .min = options.range[0], .max = options.range[1]};
    slices.range_words = "Values beyond the colour bar have the colours of its ends";
    return slices;
  }
  for (std::size_t n = 0; n < models; ++n) {
    const ValueRange range = value_range(read(n));
    if (range.count == 0) continue;
    const bool first = slices.range.count == 0;
    slices.range.min = first ? range.min : std::min(slices.range.min, range.min);
    slices.range.max = first ? range.max : std::max(slices.range.max, range.max);
    slices.range.count += range.count;
  }
  slices.range_words = fmt::format("Colours from the smallest to the largest value of the {}",
                                   models == 1 ? "model" : "models");
  return slices;
}

void write_slices(const SliceExport& slices, const FinishedRun& run, std::int32_t iteration,
                  const ModelGrid& grid, bool warn) {
  const double cell = raster_cell(grid);
  const std::vector<SlicePlace> plans = plans_of(slices);
  for (const SlicePlace& place : plans) {
    write_grids(slices, place, iteration, raster_of(cut_model(grid, *run.ground, place), cell));
  }
  const bool tiffs = write_tiffs(slices, plans, *run.ground, iteration, grid);
  const bool pictures = write_pictures(slices, run, iteration, grid);
  if (warn && !tiffs) fmt::print(stderr, "Warning: no GeoTIFF is written: that needs GDAL.\n");
  if (warn && !pictures) {
    fmt::print(stderr, "Warning: no PNG is written: that needs the library cairo.\n");
  }
  const std::string resampled =
      is_even(grid, cell) ? "" : fmt::format(", resampled to {:.6g} m by the nearest cell", cell);
  for (const SlicePlace& place : slices.places) {
    const bool plan = is_plan(place);
    std::vector<std::string> kinds;
    if (plan) kinds.emplace_back("asc");
    if (plan && slices.prj) kinds.emplace_back("prj");
    if (plan && tiffs) kinds.emplace_back("tif");
    if (pictures) kinds.emplace_back("png");
    if (kinds.empty()) continue;
    fmt::print("{} ({}): iteration {}, {}{}\n", file_of(slices, place, "", iteration),
               fmt::join(kinds, ", "), iteration,
               describe_values(cut_model(grid, *run.ground, place).values), plan ? resampled : "");
  }
}

}  // namespace quorivex
