// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "scratch_folder.h"
#include "workbench/model/apply_operation.h"

namespace quorivex::test {

/// Five columns, four rows and six layers of unequal widths under a relief without symmetry.
inline SharedGround uneven_ground() {
  Mesh mesh = make_mesh(1000.0, 5000.0, 300.0, {40, 20, 20, 30, 50}, {60, 25, 25, 35},
                        {10, 10, 15, 20, 30, 50});
  ColumnTops tops{.nn = 4, .ne = 5, .tops = {}};
  for (int i = 0; i < 5; ++i) {
    for (int j = 0; j < 4; ++j) tops.tops.push_back((2 * i + 3 * j) % 5);
  }
  return std::make_shared<const Ground>(make_ground(std::move(mesh), std::move(tops)));
}

/// A cell whose place was summed up from the widths, not taken from the nodes.
struct Place {
  double easting = 0.0;
  double northing = 0.0;
  double elevation = 0.0;
  double depth = 0.0;  ///< of the centre below the first ground cell of the column
};

/// The places of the ground cells in cell order.
inline std::vector<Place> places_of(const Ground& ground) {
  const Mesh& mesh = ground.mesh;
  std::vector<Place> places;
  double south = 5000.0;
  for (int j = 1; j <= mesh.nn; ++j) {
    double west = 1000.0;
    for (int i = 1; i <= mesh.ne; ++i) {
      double top = 300.0;
      double depth = 0.0;
      for (int k = 1; k <= mesh.nz; ++k) {
        const double thick = mesh.dz[as_size(k - 1)];
        if (k > ground.tops(j, i)) {
          places.push_back({west + mesh.de[as_size(i - 1)] / 2, south + mesh.dn[as_size(j - 1)] / 2,
                            top - thick / 2, depth + thick / 2});
          depth += thick;
        }
        top -= thick;
      }
      west += mesh.de[as_size(i - 1)];
    }
    south += mesh.dn[as_size(j - 1)];
  }
  return places;
}

/// Operations on the uneven ground.
class SmallModel {
 public:
  OperationFacts apply(const std::string& text) {
    operations.push_back(
        parse_operation(text, "operation " + std::to_string(operations.size() + 1)));
    check_operation(operations.back());
    return apply_operation(operations.back(), static_cast<std::int32_t>(operations.size()),
                           {.cells = cells, .data = &data, .warn = note}, quantities);
  }
  double operator()(Quantity quantity, std::size_t cell) const {
    return quantities(quantity, static_cast<std::int64_t>(cell) + 1);
  }

  ModelCells cells = model_cells(uneven_ground());
  std::vector<Place> places = places_of(*cells.ground);
  Observations data;
  std::vector<Operation> operations;
  ModelQuantities quantities;
  std::string warnings;
  ScratchFolder folder;

 private:
  Warn note = [this](const std::string& sentence) { warnings += sentence + "\n"; };
};

}  // namespace quorivex::test
