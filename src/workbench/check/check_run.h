// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorivex {

/// Reads everything that a run of this input file would read, in the run's order and with its
/// memory, and prints on standard output what it found. Where the run would stop it says so and
/// continues with what can still be checked. Writes no file.
/// @param mesh_file  text mesh that the sensitivity file should have; empty for any
/// @return           0 fine, 1 warnings, 2 errors
/// @throws StopRun for a mesh file that cannot be read
int check_run(const std::string& input_file, const std::string& mesh_file);

}  // namespace quorivex
