// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

/// Terms of the model norm, and what they add up to.
struct NormTerms {
  double s = 0.0;      ///< smallness
  double e = 0.0;      ///< differences along easting,
  double n = 0.0;      ///< northing
  double z = 0.0;      ///< and depth
  double total = 0.0;  ///< weighted sum
};

/// A row of the summary's table.
struct SummaryRow {
  std::int32_t iteration = 0;
  double beta = 0.0;
  double misfit = 0.0;
  NormTerms norm;
  double objective = 0.0;  ///< misfit + beta norm.total
  std::int32_t cg_iterations = 0;
  std::int32_t cells_on_bound = 0;
};

/// What quorivex.out says, to the digits that are printed there.
struct RunSummary {
  std::string started;  ///< date and time
  NormTerms initial_norm;
  double initial_misfit = 0.0;
  std::vector<SummaryRow> rows;  ///< iterations 1, 2, ...
  std::string note;              ///< what is wrong with the table after these rows; mostly empty
};

/// Reads the summary of a run; it is empty when the run has only just begun.
/// @throws StopRun for a file that is missing or is not a summary
RunSummary read_run_summary(const std::string& name);

}  // namespace quorivex
