// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/data_rows.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <exception>

#include "base/multiversion.h"
#include "base/progress.h"

namespace quorivex {
namespace {

QUORIVEX_MULTIVERSIONED
void add_squares_of(const double* from, std::int64_t count, double factor, double* to) {
#pragma omp simd
  for (std::int64_t k = 0; k < count; ++k) to[k] += factor * (from[k] * from[k]);
}

}  // namespace

int threads_for(const Observations& observations) {
  return std::max(std::min(omp_get_max_threads(), observations.ndata), 1);
}

void for_each_datum(const Observations& observations, const std::string& what, Turns* turns,
                    const std::function<void(std::int32_t, int)>& work) {
  Progress progress(what, observations.ndata);
  const std::int32_t ndata = observations.ndata;
  std::atomic<std::int32_t> done = 0;
  std::atomic<bool> failed = false;
  std::exception_ptr failure;
#pragma omp parallel for schedule(monotonic              \
                                  : dynamic, 1)          \
    num_threads(threads_for(observations)) default(none) \
        shared(ndata, turns, work, progress, done, failed, failure)
  for (std::int32_t i = 1; i <= ndata; ++i) {
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
    if (omp_get_thread_num() == 0) progress.done(count);
  }
  if (failure) std::rethrow_exception(failure);
}

Point station_of(const Observations& observations, std::int32_t i) {
  const std::size_t at = as_size(i - 1);
  return {observations.x[at], observations.y[at], observations.z[at]};
}

void data_row(const Ground& ground, const Observations& observations, std::int32_t i,
              PrismScratch& scratch, const ColumnSink& sink) {
  prism_row(ground, station_of(observations, i), tensor_weights(observations, i), scratch, sink);
}

void add_squares(const Ground& ground, const RowLayout& layout, View1<const double> row,
                 double factor, std::int32_t i, Turns& turns, std::vector<double>& sums) {
  const double square = factor * factor;
  std::int64_t number = 0;
  for (std::size_t j = 0; j < as_size(ground.mesh.nn); ++j) {
    if (!turns.await(j, i)) return;
    for (std::int32_t n = 0; n < ground.mesh.ne; ++n) {
      const GridColumn column = ground.column(++number);
      add_squares_of(row.data() + layout.begin(column), ground.mesh.nz - column.top, square,
                     sums.data() + column.before);
    }
    turns.pass(j, i);
  }
}

}  // namespace quorivex
