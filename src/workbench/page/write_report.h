// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/appraisal/verdict.h"
#include "workbench/results/finished_run.h"

namespace quorivex {

/// What was written.
struct ReportWritten {
  Appraisal appraisal;
  std::vector<std::int32_t> iterations;  ///< whose models the page holds, in order
  int digits_last = 0;                   ///< of the last iteration's model
  int digits_others = 0;                 ///< of the others'
  std::size_t bytes = 0;
};

/// Indices of at most `max` of `count` iterations: the first, the last, and others evenly between
/// them; only the last when `max` is 1.
std::vector<std::size_t> spread_iterations(std::size_t count, std::size_t max);

/// Writes the page of a run. The model of the last iteration keeps all digits of its file; the
/// others get as many digits as the size of the page allows, and where two are too many, some are
/// left out. A last model of more than about a million cells loses digits too.
/// @param max_iterations  that the page holds, at least 1
/// @throws StopRun for files that cannot be read or written
ReportWritten write_report(const FinishedRun& run, std::size_t max_iterations,
                           const std::string& output);

}  // namespace quorivex
