// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/test_models.h"

#include <algorithm>
#include <random>

#include "base/stop_run.h"

namespace quorivex {

std::vector<TestModel> test_models(const Ground& ground) {
  const auto cells = [&] { return allocate<float>(as_size(ground.cells()), "test_models"); };
  std::vector<TestModel> models{{"block", cells()}, {"random cells", cells()}, {"layer", cells()}};
  const Mesh& m = ground.mesh;
  const auto third = [](std::int32_t number, std::int32_t count) {
    return (number - 1) * 3 / std::max(count, 3);
  };
  std::mt19937 random(1);
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const std::size_t cell = as_size(at.below - 1);
    // Layers count from the surface, so that the models lie alike below hills.
    const std::int32_t top = ground.tops(at.j, at.i);
    const bool layer = third(at.k - top, m.nz - top) == 1;
    if (layer && third(at.i, m.ne) == 1 && third(at.j, m.nn) == 1) models[0].cells[cell] = 0.05F;
    if (random() % 100 == 0) models[1].cells[cell] = 0.05F;
    if (layer) models[2].cells[cell] = 0.01F;
  });
  return models;
}

}  // namespace quorivex
