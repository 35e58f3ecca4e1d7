// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/smallness.h"

#include <cmath>

#include "base/list_reader.h"
#include "base/stop_run.h"
#include "base/view1.h"
#include "inversion/input/conventions.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/model_files.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "smallness";

/// The first of the four arrays of 3-D weights.
std::vector<double> read_weights(const FinishedRun& run, std::size_t cells) {
  std::vector<double> weights = allocate<double>(cells, kRoutine, 1.0);
  if (is_null(run.parameters.weightFile)) return weights;
  const std::string name = path_in(run, run.parameters.weightFile);
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("weight", name);
  FreeFormat values(*file);
  read_list(values, weights, "weight file", name);
  return weights;
}

Smallness sum_of(const FinishedRun& run, const std::vector<double>& model) {
  const Mesh& mesh = run.ground->mesh;
  const ActiveCells active =
      get_active_cells(source_in(run, run.parameters.activeCellFile), run.ground);
  std::vector<double> reference = allocate<double>(model.size(), kRoutine);
  read_full_model(source_in(run, run.parameters.referenceModel), "reference model", *run.ground,
                  reference);
  const std::vector<double> weights = read_weights(run, model.size());
  const View1<const double> wtz(run.wtz);
  Smallness sum;
  for_each_ground_cell(*run.ground, [&](const GridCell& at) {
    const std::size_t cell = as_size(at.cell - 1);
    if (active.map[cell] <= 0) return;
    const double area = run.alphas[0] * mesh.dn[as_size(at.j - 1)] * mesh.de[as_size(at.i - 1)];
    const double scale = wtz(at.below);
    const double weight = weights[cell] * area * mesh.dz[as_size(at.k - 1)] * scale * scale;
    const double off = model[cell] - reference[cell];
    const double digits = kModelRounding * std::abs(model[cell]);
    sum.value += weight * off * off;
    sum.rounding += weight * digits * (2.0 * std::abs(off) + digits);
  });
  return sum;
}

}  // namespace

std::optional<Smallness> smallness(const FinishedRun& run, const std::vector<double>& model) {
  if (run.wtz.empty()) return {};
  try {
    return sum_of(run, model);
  } catch (const StopRun&) {
    return {};
  }
}

}  // namespace quorivex
