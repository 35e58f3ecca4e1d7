// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// Ends the run while it has written nothing, when log or summary would empty a file that it reads,
/// or a model or predicted data of an iteration would replace one: by name or through a link.
/// @param input_name  of the input file; one that cannot be read is left to its reader
void refuse_outputs_that_are_read(const std::string& input_name);

/// Names of what runs left in a folder, which a run there replaces: log, summary, models and
/// predicted data. A folder that cannot be read has none.
std::vector<std::string> outputs_in(const std::string& folder);

}  // namespace quorivex
