// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "inversion/mesh_io/observations.h"
#include "inversion/sensitivity/getpar.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Prints what the sensitivity file `name` holds, and warns of what would spoil an inversion.
void check_matrix(const std::string& name, const SensitivityFile& file, Findings& findings);

/// Warns when the mesh of the sensitivity file differs from that of a text mesh file by more than a
/// millimetre; an error when that file cannot be read.
void check_mesh(const std::string& mesh_file, const Mesh& mesh, Findings& findings);

/// Warns, according to the sidecar, when the matrix was made for other stations, directions or
/// standard deviations than those of the observations, and repeats what was warned of when it was
/// made. True when that includes warnings and the stations are the same.
bool check_origin(const std::string& name, const SensitivityFile& file,
                  const Observations& observations, Findings& findings);

}  // namespace quorivex
