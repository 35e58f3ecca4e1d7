// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/view1.h"

namespace quorivex {

/// Number of air cells at the top of each mesh column.
struct ColumnTops {
  std::int32_t nn = 0;
  std::int32_t ne = 0;
  std::vector<std::int32_t> tops;  ///< nn x ne values, northing fastest

  /// Column at northing row j and easting column i.
  std::int32_t operator()(std::int32_t j, std::int32_t i) const {
    return tops[as_size((std::int64_t{i} - 1) * nn + j - 1)];
  }
};

}  // namespace quorivex
