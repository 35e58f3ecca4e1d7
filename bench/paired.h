// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <limits>

namespace quorivex::bench {

template <class Work>
double seconds_of(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Runs a baseline and the work under test in turn, so that both see the same state of the machine,
/// and prints the speed of the work as a fraction of the baseline's (best against best, for work on
/// the same bytes) and in GB/s.
template <class Baseline, class Work>
void run_paired(benchmark::State& state, double bytes, Baseline baseline, Work work) {
  double best_baseline = std::numeric_limits<double>::max();
  double best_work = best_baseline;
  for (auto iteration : state) {
    (void)iteration;
    best_baseline = std::min(best_baseline, seconds_of(baseline));
    const double seconds = seconds_of(work);
    best_work = std::min(best_work, seconds);
    state.SetIterationTime(seconds);
  }
  state.counters["GB/s"] = bytes / best_work * 1e-9;
  state.counters["baseline_GB/s"] = bytes / best_baseline * 1e-9;
  state.counters["of_baseline"] = best_baseline / best_work;
}

}  // namespace quorivex::bench
