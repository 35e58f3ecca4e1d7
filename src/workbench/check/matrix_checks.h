// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "inversion/mesh_io/observations.h"
#include "inversion/sensitivity/getpar.h"
#include "workbench/check/findings.h"

namespace quorivex {

/// Says what the sensitivity file holds, and warns of what would spoil an inversion.
void check_matrix(const SensitivityFile& file, Findings& findings);

/// Warns when the sensitivity file's mesh is not the one that is wanted, that of a text mesh file,
/// to a millimetre.
void check_mesh(const std::string& mesh_file, const Mesh& wanted, const Mesh& mesh,
                Findings& findings);

/// Warns when the matrix was made of other stations, directions or standard deviations than those
/// of the observations, as far as its sidecar tells.
void check_origin(const std::string& name, const SensitivityFile& file,
                  const Observations& observations, Findings& findings);

}  // namespace quorivex
