// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

namespace quorivex {

/// What a run spends its time on.
enum class Phase { read, transform, matrix, model_term, vectors, write };

/// Adds the time until its end to a phase, when the environment variable QUORIVEX_TIMING is set;
/// otherwise it does nothing. For the main thread only. The tally belongs to the process, as its
/// clock does: it is not part of a run's state, and only `report_phase_times` reads it.
class PhaseTimer {
 public:
  explicit PhaseTimer(Phase phase);
  PhaseTimer(const PhaseTimer&) = delete;
  PhaseTimer& operator=(const PhaseTimer&) = delete;
  ~PhaseTimer();

 private:
  Phase phase_;
  std::chrono::steady_clock::time_point start_;
};

/// Writes the seconds of each phase to standard error, when QUORIVEX_TIMING is set.
void report_phase_times();

}  // namespace quorivex
