// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "inversion/input/input_file.h"
#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// Length scales for the alphas line: two core cells east and north, half of that down but at least
/// two of the thinnest layers. "200 200 100" for cells of 100 m.
std::string default_lengths(const Mesh& mesh);

/// The twelve lines of an input file with a comment each, from which `read_input_file` reads these
/// parameters.
/// @throws StopRun for an entry that its line cannot hold or that would mean something else there:
///         a file name with "!", with blanks at an end, or that begins with "null"
std::string input_text(const InversionParameters& input);

/// Checks what can be known without the files: constant bounds and models in their order, and the
/// alphas line.
/// @throws StopRun naming the options of `qvx input`
void check_entries(const InversionParameters& input);

}  // namespace quorivex
