// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/forward/prism_row.h"
#include "workbench/forward/turns.h"

namespace quorivex {

/// The threads that for_each_datum employs.
int threads_for(const Observations& observations);

/// Calls work(i, thread) for the data i, from 1, on all threads, each of which takes the next datum
/// when it has done one. What a call throws is thrown again here, after `turns`, if any, have been
/// stopped and all threads have come to their end. `what` names the work in the progress.
void for_each_datum(const Observations& observations, const std::string& what, Turns* turns,
                    const std::function<void(std::int32_t i, int thread)>& work);

Point station_of(const Observations& observations, std::int32_t i);

/// The row of datum i, column by column; see prism_row.
void data_row(const Ground& ground, const Observations& observations, std::int32_t i,
              PrismScratch& scratch, const ColumnSink& sink);

/// How a thread keeps the ground cells of a row: one after another, or at their places in a wavelet
/// grid with so many points along depth and easting.
struct RowLayout {
  std::int64_t depth = 0;  ///< 0: one after another
  std::int64_t east = 0;

  /// Where the ground cells of a column begin.
  std::int64_t begin(const GridColumn& column) const {
    return depth == 0 ? column.before : column.top + depth * (column.i - 1 + east * (column.j - 1));
  }
};

/// sums(c) += (factor row(c))^2 over the ground cells in the turn of datum i, which has a turn for
/// each row of columns; the sums do not depend on the number of threads.
void add_squares(const Ground& ground, const RowLayout& layout, View1<const double> row,
                 double factor, std::int32_t i, Turns& turns, std::vector<double>& sums);

}  // namespace quorivex
