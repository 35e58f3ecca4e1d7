// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/data_rows.h"

#include <omp.h>

#include <algorithm>

#include "base/progress.h"
#include "base/stop_run.h"

namespace quorivex {

Point station_of(const Observations& observations, std::int32_t i) {
  const std::size_t at = as_size(i - 1);
  return {observations.x[at], observations.y[at], observations.z[at]};
}

void for_each_row_batch(const Ground& ground, const Observations& observations,
                        const std::string& what,
                        const std::function<void(const RowBatch&)>& visit) {
  const auto rows =
      static_cast<std::int32_t>(std::min<std::int64_t>(omp_get_max_threads(), observations.ndata));
  std::vector<PrismScratch> scratch(as_size(rows), PrismScratch(ground.mesh));
  std::vector<double> storage =
      allocate<double>(as_size(rows * ground.cells()), "for_each_row_batch");
  RowBatch batch;
  Progress progress(what, observations.ndata);
  for (batch.first = 1; batch.first <= observations.ndata; batch.first += rows) {
    const std::int32_t count = std::min(rows, observations.ndata - batch.first + 1);
    batch.rows.clear();
    for (std::int32_t t = 0; t < count; ++t) {
      batch.rows.emplace_back(storage.data() + t * ground.cells(), ground.cells());
    }
#pragma omp parallel for schedule(static, 1) num_threads(count) default(none) \
    shared(ground, observations, scratch, batch, count)
    for (std::int32_t t = 0; t < count; ++t) {
      const std::int32_t i = batch.first + t;
      prism_row(ground, station_of(observations, i), tensor_weights(observations, i),
                scratch[as_size(t)], batch.rows[as_size(t)]);
    }
    visit(batch);
    progress.done(batch.first + count - 1);
  }
}

void add_squares(const RowBatch& batch, View1<const double> scale, View1<double> sums) {
#pragma omp parallel for schedule(static) default(none) shared(batch, scale, sums)
  for (std::int64_t c = 1; c <= sums.size(); ++c) {
    const double factor = scale.size() > 0 ? 1.0 / (scale(c) * scale(c)) : 1.0;
    for (const View1<double>& row : batch.rows) sums(c) += factor * row(c) * row(c);
  }
}

}  // namespace quorivex
