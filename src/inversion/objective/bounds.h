// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/report.h"
#include "base/view1.h"
#include "inversion/mesh_io/active_cells.h"
#include "inversion/mesh_io/model_files.h"

namespace quorivex {

/// Bound models over the active cells, scaled by wtz.
struct Bounds {
  std::vector<double> lower;
  std::vector<double> upper;
};

/// Reads both bounds ("VALUE c" or a file each).
/// @throws StopRun naming the first cell whose lower bound is not below its upper bound
Bounds get_bounds(const std::string& lower, const std::string& upper, const ActiveCells& active,
                  CellScale wtz, Report& report);

/// Warns of cells that lie on a bound.
/// @throws StopRun with the number of cells that lie outside
void check_bounds(View1<const double> model, std::string_view label, const Bounds& bounds,
                  Report& report);

}  // namespace quorivex
