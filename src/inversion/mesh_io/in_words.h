// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "mesh_io/mesh.h"

namespace quorivex {

/// "1.95 GB": bytes in decimal units, from kB to GB.
std::string bytes_in_words(double bytes);

/// Counts, extents and cell sizes of a mesh, one line an axis, to the millimetre.
std::string mesh_in_words(const Mesh& mesh);

}  // namespace quorivex
