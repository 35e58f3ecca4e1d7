// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/text.h"
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "records.h"
#include "workbench/model/apply_operation.h"
#include "workbench/model/bound_order.h"
#include "workbench/model/polygon.h"

namespace quorivex::fuzz {
namespace {

/// A ground of which the first column has air.
SharedGround recipe_ground() {
  Mesh mesh = make_mesh(1000.0, 2000.0, 300.0, {50, 50, 60, 70}, {50, 40, 50}, {10, 20, 40});
  ColumnTops tops{.nn = 3, .ne = 4, .tops = std::vector<std::int32_t>(12)};
  tops.tops[0] = 2;
  return share_ground(std::move(mesh), std::move(tops));
}

/// Files that an operation names are read by targets of their own.
bool names_files(const Operation& operation) {
  for (const char* key : {"surface", "top", "base", "outline", "name", "model"}) {
    for (const Setting& setting : operation.settings) {
      if (setting.key == key && !to_number(setting.value)) return true;
    }
  }
  return false;
}

}  // namespace

/// The bytes as a recipe, which is applied, and as an outline.
std::string recipe(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  const std::string applied = outcome([&] {
    const std::vector<Operation> operations = read_recipe(name);
    for (const Operation& operation : operations) check_operation(operation);
    const ModelCells cells = model_cells(recipe_ground());
    const Observations data;
    std::string found;
    const ModelSources sources{
        .cells = cells, .data = &data, .warn = [&](const std::string& text) { found += text; }};
    ModelQuantities quantities;
    for (const Operation& operation : operations) {
      if (names_files(operation)) continue;
      const OperationFacts facts = apply_operation(operation, 1, sources, quantities);
      found += test::record(facts.cells, facts.volume);
    }
    for (const QuantityValues& of : quantities.of) found += test::record(of.values, of.setters);
    check_quantities(quantities, cells, operations);
    return found;
  });
  return applied + outcome([&] {
           std::string corners;
           for (const Ring& ring : read_outline(name)) corners += test::record(ring);
           return corners;
         });
}

}  // namespace quorivex::fuzz
