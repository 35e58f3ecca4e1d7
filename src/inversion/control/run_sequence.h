// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "base/report.h"

namespace quorivex {

/// One run, from the command line (without the program's name) to the closed files.
/// @throws StopRun for every end before the last iteration
void run_sequence(const std::vector<std::string>& arguments, Report& report);

}  // namespace quorivex
