// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// Sentences about numbers on the lines of an input file that the run passes over, as those after a
/// decimal comma: "1,0 0,02" is read as 1 and 0. The file is one that `read_input_file` accepts.
std::vector<std::string> input_line_doubts(const std::string& input_file);

}  // namespace quorivex
