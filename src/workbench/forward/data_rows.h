// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/view1.h"
#include "inversion/mesh_io/ground.h"
#include "inversion/mesh_io/observations.h"
#include "workbench/forward/prism_row.h"

namespace quorivex {

/// Rows of consecutive data in nT per SI, one entry per ground cell: rows[t] is that of datum
/// first + t, data counting from 1.
struct RowBatch {
  std::int32_t first = 1;
  std::vector<View1<double>> rows;
};

Point station_of(const Observations& observations, std::int32_t i);

/// Computes the rows of all data in their order, one per thread at a time, and hands them out batch
/// by batch, on the calling thread. Memory: a row per thread. `what` names the work in the
/// progress.
void for_each_row_batch(const Ground& ground, const Observations& observations,
                        const std::string& what, const std::function<void(const RowBatch&)>& visit);

/// Adds the squares of the rows' entries, each divided by scale(c), to sums(c) in data order, so
/// that the sums do not depend on the number of threads. Without a scale nothing is divided.
void add_squares(const RowBatch& batch, View1<const double> scale, View1<double> sums);

}  // namespace quorivex
