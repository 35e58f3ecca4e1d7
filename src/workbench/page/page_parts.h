// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/appraisal/verdict.h"
#include "workbench/results/finished_run.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {

// Pieces of the page that need no script.

/// "2026-11-21 09:08:07" of the date in a log, "11/21/2026  09:08:07"; other text as it is.
std::string iso_date(const std::string& date);

std::string verdict_html(const Verdict& verdict);
std::string tiles_html(const RunFacts& facts);
std::string flags_html(const std::vector<RedFlag>& flags);
std::string largest_residuals_html(const FinishedRun& run, const DataFit& fit,
                                   const std::vector<std::int32_t>& largest);
std::string iterations_html(const FinishedRun& run);
std::string parameters_html(const FinishedRun& run, std::int64_t active_cells);
std::string files_html(const FinishedRun& run);

}  // namespace quorivex
