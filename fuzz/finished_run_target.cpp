// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/archive.h"
#include "fuzz/outcome.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/export/csv_files.h"
#include "workbench/export/vtk_files.h"
#include "workbench/page/write_report.h"

namespace quorivex::fuzz {
namespace {

constexpr std::size_t kIterations = 3;

std::string exported(const FinishedRun& run, const FinishedIteration& iteration) {
  return outcome([&] {
    const ModelGrid grid =
        make_model_grid(run.ground->mesh, ModelExtent::core, read_model(run, iteration));
    write_model_vtr("model.vtr", grid);
    write_model_csv("model.csv", grid, true);
    const DataFit fit = data_fit(run.observations, read_predicted(run, iteration));
    write_data_vtp("data.vtp", run.observations, fit);
    write_data_csv("data.csv", run.observations, fit, run.labels);
    return test::record(value_range(grid), fit.residual);
  });
}

}  // namespace

/// What qvx report and qvx export make of the files of a run.
std::string finished_run(std::string_view bytes) {
  const UnpackedArchive archive(bytes);
  return outcome([&] {
    const FinishedRun run = read_finished_run(archive.first());
    std::string found = exported(run, run.iterations.back());
    const Verdict verdict = write_report(run, kIterations, "page.html").appraisal.verdict;
    return found + verdict.headline;
  });
}

}  // namespace quorivex::fuzz
