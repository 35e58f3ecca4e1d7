// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {

/// One half of a difference operator in compressed rows: the columns of the active cells, or those
/// of the inactive cells with influence. Pointers and columns count from 1.
struct CsrHalf {
  /// nrow+1 entries; the last is one past the end: at most twice the 2^31 - 1 cells, and 1.
  std::vector<std::uint32_t> pointers;
  std::vector<std::int32_t> columns;
  std::vector<double> values;

  void start_row() { pointers.push_back(static_cast<std::uint32_t>(length(values) + 1)); }
  void add(std::int32_t column, double value) {
    columns.push_back(column);
    values.push_back(value);
  }
  std::int64_t rows() const { return length(pointers) - 1; }
};

/// Row r (from 1) of the half times m.
inline double row_product(const CsrHalf& half, std::int64_t r, View1<const double> m) {
  const View1<const std::uint32_t> pointers(half.pointers);
  const View1<const std::int32_t> columns(half.columns);
  const View1<const double> values(half.values);
  double sum = 0.0;
  for (std::int64_t at = pointers(r); at < pointers(r + 1); ++at)
    sum += values(at) * m(columns(at));
  return sum;
}

/// y += (row r)^T v
inline void add_row(const CsrHalf& half, std::int64_t r, double v, View1<double> y) {
  const View1<const std::uint32_t> pointers(half.pointers);
  const View1<const std::int32_t> columns(half.columns);
  const View1<const double> values(half.values);
  for (std::int64_t at = pointers(r); at < pointers(r + 1); ++at) y(columns(at)) += values(at) * v;
}

}  // namespace quorivex
