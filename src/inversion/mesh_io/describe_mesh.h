// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// "1.95 GB": bytes in decimal units, from kB to GB.
std::string format_bytes(double bytes);

/// Counts, extents and cell sizes of a mesh, one line an axis, to the millimetre.
std::string describe_mesh(const Mesh& mesh);

}  // namespace quorivex
