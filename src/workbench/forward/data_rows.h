// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/progress.h"
#include "base/ranks.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/forward/prism_row.h"
#include "workbench/forward/turns.h"

namespace quorivex {

/// The threads that are worth employing.
int threads_for(const Observations& observations);

/// Data from `first` to `last`, numbered from 1.
struct DataRange {
  std::int32_t first = 1;
  std::int32_t last = 0;
};

/// How many of all data are done, where each process of a team works on a range of its own.
class DataProgress {
 public:
  /// `what` names the work.
  DataProgress(const std::string& what, std::int32_t ndata, ranks::Team team)
      : progress_(what, ndata), ndata_(ndata), processes_(ranks::count(team)) {}

  /// By the process with the first range: `count` data of it are done, and as many of the others'.
  void done(const DataRange& range, std::int64_t count) {
    progress_.done(std::min(range.first - 1 + count * processes_, ndata_));
  }

 private:
  Progress progress_;
  std::int64_t ndata_;
  int processes_;
};

/// Calls work(i, thread) for the data i of the range on so many threads, each of which takes the
/// next datum when it has done one. What a call throws is thrown again here, after `turns`, if any,
/// have been stopped and all threads have come to their end.
void for_each_datum(const DataRange& range, int threads, DataProgress& progress, Turns* turns,
                    const std::function<void(std::int32_t i, int thread)>& work);

/// Data are divided into groups of consecutive ones, which follow from their number alone: what is
/// summed over the data, first within each group and then over the groups, does not depend on the
/// number of processes. At least 16, and at most 256 groups.
inline std::int32_t group_size(std::int32_t ndata) { return std::max(16, (ndata + 255) / 256); }

/// Deals the data out to a team: in each round every process takes the next group, in the order of
/// ranks, and calls work(range), which is empty beyond the last group. A process that is alone has
/// all data in one round.
void for_each_round(std::int32_t ndata, ranks::Team team,
                    const std::function<void(const DataRange& range)>& work);

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

}  // namespace quorivex
