// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/bounds.h"

#include <fmt/format.h>

#include "base/fixed_format.h"
#include "base/stop_run.h"

namespace quorivex {

Bounds get_bounds(const std::string& lower, const std::string& upper, const ActiveCells& active,
                  CellScale wtz, Report& report) {
  const auto ncell = as_size(active.ncell);
  Bounds bounds{.lower = allocate<double>(ncell, "get_bounds"),
                .upper = allocate<double>(ncell, "get_bounds")};
  read_active_model(lower, "lower bounds", active, wtz, bounds.lower, report);
  read_active_model(upper, "upper bounds", active, wtz, bounds.upper, report);
  for (std::size_t i = 0; i < ncell; ++i) {
    if (!(bounds.lower[i] < bounds.upper[i])) {
      stop_run(fmt::format("ERROR: Upper bound should be greater than lower: {}{}{}", i + 1,
                           sci(bounds.lower[i], 12, 4), sci(bounds.upper[i], 12, 4)));
    }
  }
  return bounds;
}

void check_bounds(View1<const double> model, std::string_view label, const Bounds& bounds,
                  Report& report) {
  const View1<const double> lower(bounds.lower);
  const View1<const double> upper(bounds.upper);
  std::int64_t outside = 0;
  std::int64_t touching = 0;
  for (std::int64_t i = 1; i <= model.size(); ++i) {
    if (lower(i) > model(i) || model(i) > upper(i)) {
      ++outside;
    } else if (model(i) == lower(i) || model(i) == upper(i)) {
      ++touching;
    }
  }
  if (touching > 0) {
    report.both(
        fmt::format("WARNING: number of cells in {} touching bounds: {}\n", label, touching));
  }
  if (outside > 0) {
    stop_run(fmt::format("ERROR: number of cells in {} outside bounds: {}", label, outside));
  }
}

}  // namespace quorivex
