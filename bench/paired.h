// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "base/statistics.h"

namespace quorivex::bench {

template <class Work>
double seconds_of(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Runs a baseline and the work under test in turn, so that both see the same state of the machine,
/// and prints the speed of the work in GB/s and as a fraction of the baseline's (medians, for work
/// on the same bytes).
template <class Baseline, class Work>
void run_paired(benchmark::State& state, double bytes, Baseline baseline, Work work) {
  std::vector<double> of_baseline;
  std::vector<double> of_work;
  for (auto iteration : state) {
    (void)iteration;
    of_baseline.push_back(seconds_of(baseline));
    of_work.push_back(seconds_of(work));
    state.SetIterationTime(of_work.back());
  }
  const double baseline_seconds = median(of_baseline);
  const double work_seconds = median(of_work);
  state.counters["GB/s"] = bytes / work_seconds * 1e-9;
  state.counters["baseline_GB/s"] = bytes / baseline_seconds * 1e-9;
  state.counters["of_baseline"] = baseline_seconds / work_seconds;
}

}  // namespace quorivex::bench
