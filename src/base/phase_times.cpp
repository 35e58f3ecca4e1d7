// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/phase_times.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace quorivex {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::array<const char*, 6> kNames{"read",       "transform", "matrix",
                                            "model term", "vectors",   "write"};

bool wanted() {
  static const bool kWanted = std::getenv("QUORIVEX_TIMING") != nullptr;
  return kWanted;
}

std::array<double, kNames.size()>& seconds() {
  static std::array<double, kNames.size()> tally{};
  return tally;
}

}  // namespace

PhaseTimer::PhaseTimer(Phase phase) : phase_(phase) {
  if (wanted()) start_ = Clock::now();
}

PhaseTimer::~PhaseTimer() {
  if (!wanted()) return;
  seconds()[static_cast<std::size_t>(phase_)] +=
      std::chrono::duration<double>(Clock::now() - start_).count();
}

void report_phase_times() {
  if (!wanted()) return;
  for (std::size_t phase = 0; phase < kNames.size(); ++phase) {
    fmt::print(stderr, "{:<12}{:10.3f} s\n", kNames[phase], seconds()[phase]);
  }
}

}  // namespace quorivex
