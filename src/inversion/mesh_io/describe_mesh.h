// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "inversion/mesh_io/mesh.h"

namespace quorivex {

/// "1.95 GB": bytes in decimal units, from kB to GB.
std::string format_bytes(double bytes);

/// "64 x 64 x 32 points along easting, northing and depth": the one order of counts in messages.
std::string format_counts(std::int64_t east, std::int64_t north, std::int64_t depth,
                          std::string_view what);

/// Counts, extents and cell sizes of a mesh, one line per axis, to the millimetre.
std::string describe_mesh(const Mesh& mesh);

}  // namespace quorivex
