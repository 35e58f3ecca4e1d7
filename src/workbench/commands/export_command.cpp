// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <charconv>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <set>

#include "base/atomic_file.h"
#include "base/fixed_format.h"
#include "base/output_lock.h"
#include "base/stop_run.h"
#include "workbench/commands/commands.h"
#include "workbench/commands/export_slices.h"
#include "workbench/commands/options.h"
#include "workbench/commands/overwriting.h"
#include "workbench/commands/run_notes.h"
#include "workbench/coordinates/crs.h"
#include "workbench/export/csv_files.h"
#include "workbench/export/netcdf_file.h"
#include "workbench/export/vtk_files.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {
namespace {

namespace fs = std::filesystem;

struct ExportOptions {
  std::string run;
  std::string iteration = "last";
  std::string vtr;
  std::string netcdf;
  std::string csv;
  std::string points;
  std::string data_csv;
  std::string crs;
  SliceOptions slices;
  bool core = false;
  bool no_air = false;

  bool all() const { return iteration == "all"; }
  bool model() const {
    return !(vtr.empty() && netcdf.empty() && csv.empty() && slices.folder.empty());
  }
  bool data() const { return !(points.empty() && data_csv.empty()); }
};

using Collections = std::map<std::string, std::vector<CollectionEntry>>;

/// FILE, or FILE_NNN with the iteration's number before the extension when all iterations are
/// wanted.
std::string name_for(const ExportOptions& options, const std::string& file,
                     std::int32_t iteration) {
  if (!options.all()) return file;
  const fs::path path(file);
  const std::string name = fmt::format("{}_{}{}", path.stem().string(), three_digits(iteration),
                                       path.extension().string());
  return (path.parent_path() / name).string();
}

std::vector<FinishedIteration> wanted_iterations(const ExportOptions& options,
                                                 const FinishedRun& run) {
  if (options.all()) return run.iterations;
  if (options.iteration == "last") return {run.iterations.back()};
  std::int32_t number = 0;
  const char* end = options.iteration.data() + options.iteration.size();
  const auto [stop, error] = std::from_chars(options.iteration.data(), end, number);
  if (stop != end || error != std::errc()) {
    stop_run(fmt::format(" ERROR: --iteration should be a number, last or all; found {}.",
                         options.iteration));
  }
  return {find_iteration(run, number)};
}

std::string collection_name(const std::string& file) {
  return fs::path(file).replace_extension(".pvd").string();
}

/// Every file that will be written.
std::vector<std::string> names_to_write(const ExportOptions& options,
                                        const std::vector<SlicePlace>& places,
                                        const std::vector<FinishedIteration>& iterations) {
  std::vector<std::string> names;
  for (const FinishedIteration& iteration : iterations) {
    for (const SlicePlace& place : places) {
      for (const std::string& file :
           slice_files(options.slices.folder, place, !options.crs.empty())) {
        names.push_back(name_for(options, file, iteration.row.iteration));
      }
    }
    for (const std::string& file :
         {options.vtr, options.netcdf, options.csv, options.points, options.data_csv}) {
      if (!file.empty()) names.push_back(name_for(options, file, iteration.row.iteration));
    }
    for (const std::string& table : {options.csv, options.data_csv}) {
      if (table.empty() || options.crs.empty()) continue;
      names.push_back(vrt_name(name_for(options, table, iteration.row.iteration)));
    }
  }
  if (!options.all()) return names;
  std::set<std::string> collections;  // model and points may share one
  for (const std::string& file : {options.vtr, options.points}) {
    if (!file.empty()) collections.insert(collection_name(file));
  }
  names.insert(names.end(), collections.begin(), collections.end());
  return names;
}

/// Refuses outputs that would replace a file of the run or each other.
void check_outputs(const ExportOptions& options, const FinishedRun& run,
                   const std::vector<SlicePlace>& places,
                   const std::vector<FinishedIteration>& iterations) {
  if (!options.model() && !options.data()) {
    stop_run(
        " ERROR: nothing to write: name a file with --vtr, --netcdf, --csv, --points, "
        "--data-csv or --slices.");
  }
  std::set<fs::path> targets;
  for (const std::string& name : names_to_write(options, places, iterations)) {
    if (!targets.insert(fs::weakly_canonical(fs::absolute(target_of_links(name)))).second) {
      stop_run(fmt::format(" ERROR: two outputs have the name {}.", name));
    }
    if (fs::exists(name)) refuse_overwriting_run_files(run, name);
  }
}

/// Adds a file to the collection that has its name with the extension .pvd.
void collect(const std::string& file, const std::string& written, std::int32_t iteration,
             Collections& collections) {
  std::vector<CollectionEntry>& entries = collections[collection_name(file)];
  const bool first = entries.empty() || entries.back().iteration != iteration;
  entries.push_back({.iteration = iteration,
                     .part = first ? 0 : entries.back().part + 1,
                     .file = fs::path(written).filename().string()});
}

/// A table cannot say which its coordinate system is; a file beside it can.
void describe_points(const std::string& table, const std::string& crs) {
  if (crs.empty()) return;
  write_points_vrt(table, crs);
  fmt::print("{}: the points of {} in {}, for GIS\n", vrt_name(table), table, crs);
}

ModelGrid make_grid(const ExportOptions& options, const FinishedRun& run,
                    std::vector<double> values) {
  return make_model_grid(run.ground->mesh, options.core ? ModelExtent::core : ModelExtent::whole,
                         std::move(values));
}

ModelGrid read_grid(const ExportOptions& options, const FinishedRun& run,
                    const FinishedIteration& iteration) {
  return make_grid(options, run, read_model(run, iteration));
}

void export_model(const ExportOptions& options, const FinishedRun& run, const SliceExport& slices,
                  const FinishedIteration& iteration, Collections& collections) {
  const std::int32_t number = iteration.row.iteration;
  const ModelGrid grid = read_grid(options, run, iteration);
  const ValueRange range = value_range(grid);
  const auto written = [&](const std::string& name) {
    fmt::print("{}: iteration {}, {} x {} x {} cells, {} of them air, {:.6g} to {:.6g} SI\n", name,
               number, grid.ne, grid.nn, grid.nz, grid.cells() - range.count, range.min, range.max);
  };
  if (!options.vtr.empty()) {
    const std::string name = name_for(options, options.vtr, number);
    write_model_vtr(name, grid, options.crs);
    collect(options.vtr, name, number, collections);
    written(name);
  }
  if (!options.netcdf.empty()) {
    const std::string name = name_for(options, options.netcdf, number);
    write_model_netcdf(name, grid, fs::path(run.input_file).filename().string(), iteration.row,
                       options.crs);
    written(name);
  }
  if (!options.csv.empty()) {
    const std::string name = name_for(options, options.csv, number);
    write_model_csv(name, grid, !options.no_air);
    written(name);
    describe_points(name, options.crs);
  }
  if (!slices.places.empty()) {
    const bool last = number == run.iterations.back().row.iteration;
    write_slices(slices, run, number, grid, last || !options.all());
  }
}

void export_data(const ExportOptions& options, const FinishedRun& run,
                 const FinishedIteration& iteration, Collections& collections) {
  const std::int32_t number = iteration.row.iteration;
  const DataFit fit = data_fit(run.observations, read_predicted(run, iteration));
  const auto written = [&](const std::string& name) {
    fmt::print("{}: iteration {}, {} data, misfit {:.6g}\n", name, number, fit.observed.size(),
               iteration.row.misfit);
  };
  if (!options.points.empty()) {
    const std::string name = name_for(options, options.points, number);
    write_data_vtp(name, run.observations, fit, options.crs);
    collect(options.points, name, number, collections);
    written(name);
  }
  if (!options.data_csv.empty()) {
    const std::string name = name_for(options, options.data_csv, number);
    const std::string observations = path_in(run, run.parameters.obsFile);
    write_data_csv(name, run.observations, fit,
                   read_station_labels(observations, run.observations.ndata));
    written(name);
    describe_points(name, options.crs);
  }
}

/// Refuses places outside the model; the folder is there afterwards.
SliceExport prepare_slices(const ExportOptions& options, const FinishedRun& run,
                           std::vector<SlicePlace> places,
                           const std::vector<FinishedIteration>& iterations) {
  if (places.empty()) return {};
  const auto read = [&](std::size_t n) { return read_grid(options, run, iterations[n]); };
  check_slice_places(make_grid(options, run, {}), *run.ground, places);
  SliceExport slices =
      plan_slices(options.slices, std::move(places), options.crs, iterations.size(), read);
  slices.name = [&options](const std::string& file, std::int32_t iteration) {
    return name_for(options, file, iteration);
  };
  make_slice_folder(options.slices.folder);
  return slices;
}

void run_export(ExportOptions options) {
  const FinishedRun run = read_finished_run(options.run);
  options.crs = common_crs({{options.crs, "--crs"}, {run.crs, "the run"}});
  const std::vector<FinishedIteration> iterations = wanted_iterations(options, run);
  const std::vector<SlicePlace> places = slice_places(options.slices, iterations.size());
  check_outputs(options, run, places, iterations);
  print_run_notes(run);
  const SliceExport slices = prepare_slices(options, run, places, iterations);
  std::deque<OutputLock> locks;
  if (!places.empty()) locks.emplace_back((fs::path(slices.folder) / "slices").string());
  for (const std::string& file :
       {options.vtr, options.netcdf, options.csv, options.points, options.data_csv}) {
    if (!file.empty()) locks.emplace_back(file);
  }
  Collections collections;
  for (const FinishedIteration& iteration : iterations) {
    if (options.model()) export_model(options, run, slices, iteration, collections);
    if (options.data()) export_data(options, run, iteration, collections);
  }
  if (!options.all()) return;
  for (const auto& [name, entries] : collections) {
    write_collection(name, entries);
    fmt::print("{}: {} iterations\n", name, iterations.size());
  }
}

}  // namespace

void add_export_command(CLI::App& qvx) {
  CLI::App* command =
      qvx.add_subcommand("export", "Write models and data of a run for other programs");
  const auto o = std::make_shared<ExportOptions>();
  const auto add = [command](const char* name, auto& value, const char* type, const char* help) {
    return command->add_option(name, value, help)->type_name(type);
  };
  add("RUN.inp", o->run, "",
      "Input file of the inversion. Files that it names, and\n"
      "those that the run left, are searched for in the current\n"
      "folder if the run was there, otherwise next to it")
      ->required();
  add("--iteration", o->iteration, "N",
      "Number of the iteration, 'last' or 'all'; 'all' numbers\n"
      "the files: model.vtr becomes model_001.vtr and so on")
      ->capture_default_str();
  add("--vtr", o->vtr, "FILE",
      "Model as VTK rectilinear grid, air hidden; with\n"
      "--iteration all also a .pvd collection that ParaView\n"
      "animates");
  add("--netcdf", o->netcdf, "FILE",
      "Model as netCDF-4 with CF conventions, for xarray, GMT\n"
      "and QGIS");
  auto* const csv = add("--csv", o->csv, "FILE",
                        "Model as table: centres, sizes (m) and susceptibility\n"
                        "(SI) of the cells, empty in air");
  add("--points", o->points, "FILE",
      "Data as VTK points (.vtp): observed, predicted, residual\n"
      "= observed - predicted (nT), and the residual in\n"
      "standard deviations");
  add("--data-csv", o->data_csv, "FILE",
      "The same data as table, with the names of flight lines\n"
      "and fiducials where the observations have them");
  add_slice_options(*command, o->slices);
  add_crs_option(*command, o->crs, "that of the survey");
  command->add_flag("--core", o->core,
                    "Models without padding: only columns from the first to\n"
                    "the last cell of the most frequent width. GMT and QGIS\n"
                    "georeference only evenly spaced grids correctly");
  command->add_flag("--no-air", o->no_air, "Leave air cells out of --csv")->needs(csv);
  command->footer(
      "\nCoordinates are easting, northing and elevation (upward) in metres.\n"
      "Example:\n"
      "  qvx export survey.inp --vtr model.vtr --points data.vtp\n"
      "  qvx export survey.inp --core --netcdf model.nc\n"
      "  qvx export survey.inp --core --slices maps --depths 50,100 --northings 7556500");
  command->callback([o] { run_export(*o); });
}

}  // namespace quorivex
