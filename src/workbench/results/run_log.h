// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// What the log of a run says of its input and of its end.
struct RunLog {
  std::string input_name;                ///< as on the command line
  std::vector<std::string> input_lines;  ///< see `lines_that_count`
  std::string started;                   ///< date and time
  std::string ended;   ///< likewise; empty for a run that stopped early or goes on
  std::string ending;  ///< why it ended, in the run's words; may be empty
};

/// Reads the log of a run, also of one that did not come to its end.
/// @throws StopRun where the file is not there or holds no input file
RunLog read_run_log(const std::string& name);

/// The lines of an input file that hold its twelve entries: without comments, trailing blanks and
/// empty lines, cut as the log's copy is. Empty where the file cannot be opened.
std::vector<std::string> lines_that_count(const std::string& name);

}  // namespace quorivex
