// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "workbench/appraisal/verdict.h"
#include "workbench/results/finished_run.h"
#include "workbench/results/iteration_files.h"

namespace quorivex {

// Pieces of the page that need no script.

/// Text as it stands in HTML, between tags or in a quoted attribute.
std::string escaped(std::string_view text);

/// The template with each {{name}} replaced. Values are not looked at again.
/// @throws StopRun for a name without a value
std::string filled(std::string_view page_template,
                   const std::vector<std::pair<std::string_view, std::string_view>>& values);

std::string verdict_html(const Verdict& verdict);
std::string tiles_html(const RunFacts& findings);
std::string flags_html(const std::vector<RedFlag>& flags);
std::string largest_residuals_html(const Observations& observations, const DataFit& fit,
                                   const std::vector<std::int32_t>& largest);
std::string iterations_html(const FinishedRun& run);
std::string parameters_html(const FinishedRun& run, std::int64_t active_cells);
std::string files_html(const FinishedRun& run);

}  // namespace quorivex
