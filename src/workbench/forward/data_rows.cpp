// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/data_rows.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <exception>

namespace quorivex {

int threads_for(const Observations& observations) {
  return std::max(std::min(omp_get_max_threads(), observations.ndata), 1);
}

void for_each_datum(const DataRange& range, int threads, DataProgress& progress, Turns* turns,
                    const std::function<void(std::int32_t, int)>& work) {
  std::atomic<std::int32_t> done = 0;
  std::atomic<bool> failed = false;
  std::exception_ptr failure;
#pragma omp parallel for schedule(monotonic                                        \
                                  : dynamic, 1) num_threads(threads) default(none) \
    shared(range, turns, work, progress, done, failed, failure)
  for (std::int32_t i = range.first; i <= range.last; ++i) {
    if (failed) continue;
    try {
      work(i, omp_get_thread_num());
    } catch (...) {
#pragma omp critical(quorivex_first_failure)
      if (!failure) failure = std::current_exception();
      failed = true;
      if (turns != nullptr) turns->stop();
    }
    const std::int32_t count = ++done;
    if (omp_get_thread_num() == 0) progress.done(range, count);
  }
  if (failure) std::rethrow_exception(failure);
}

void for_each_round(std::int32_t ndata, ranks::Team team,
                    const std::function<void(const DataRange&)>& work) {
  const std::int64_t processes = ranks::count(team);
  const std::int64_t size = processes == 1 ? ndata : group_size(ndata);
  for (std::int64_t round = 0; round < ndata; round += size * processes) {
    const std::int64_t before = std::min<std::int64_t>(round + size * ranks::rank(team), ndata);
    const std::int64_t last = std::min<std::int64_t>(before + size, ndata);
    work({static_cast<std::int32_t>(before + 1), static_cast<std::int32_t>(last)});
  }
}

Point station_of(const Observations& observations, std::int32_t i) {
  const std::size_t at = as_size(i - 1);
  return {observations.x[at], observations.y[at], observations.z[at]};
}

void data_row(const Ground& ground, const Observations& observations, std::int32_t i,
              PrismScratch& scratch, const ColumnSink& sink) {
  prism_row(ground, station_of(observations, i), tensor_weights(observations, i), scratch, sink);
}

}  // namespace quorivex
