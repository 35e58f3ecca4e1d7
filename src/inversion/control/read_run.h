// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "base/report.h"
#include "inversion/input/input_file.h"
#include "inversion/setup/run_setup.h"

namespace quorivex {

// What a run reads, with the lines that it writes about each step.

/// Copies the input file into the log and reads it. The name "-inp" asks for a sample input file
/// instead, on the console and in the log, and ends the run.
/// @throws StopRun as read_input_file
InversionParameters read_input(const std::string& name, Report& report);

/// Reads all files of a run but the input file, and derives what the iterations need.
/// @throws StopRun with the message of the step that failed
RunSetup read_run(const InversionParameters& input, Report& report);

}  // namespace quorivex
