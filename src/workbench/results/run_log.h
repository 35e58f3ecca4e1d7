// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// What the log of a run says of its input and of its end.
struct RunLog {
  std::string version;                   ///< of the program that ran, "" when it is not said
  std::string input_name;                ///< as on the command line
  std::vector<std::string> input_lines;  ///< see `entry_lines`
  std::string started;                   ///< date and time
  std::string ended;   ///< likewise; empty for a run that stopped early or is still going on
  std::string ending;  ///< why it ended, in the run's words; may be empty
};

/// Reads the log of a run, also of one that did not come to its end.
/// @throws StopRun when the file is missing or holds no input file
RunLog read_run_log(const std::string& name);

/// The lines of an input file that hold its twelve entries: without comments, trailing blanks and
/// empty lines, cut to the length of the log's copy. Empty when the file cannot be opened.
std::vector<std::string> entry_lines(const std::string& name);

}  // namespace quorivex
