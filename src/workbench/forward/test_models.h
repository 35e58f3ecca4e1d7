// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"

namespace quorivex {

/// A model to try a compressed matrix on: susceptibilities (SI) of the ground cells.
struct TestModel {
  std::string name;
  std::vector<float> cells;
};

/// A block of 0.05 SI in the middle of the mesh below a third of its layers, one random cell in a
/// hundred with 0.05 SI, and a layer of 0.01 SI as thick as a third of the layers.
std::vector<TestModel> test_models(const Ground& ground);

}  // namespace quorivex
