// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inversion/mesh_io/observations.h"
#include "workbench/export/slices.h"
#include "workbench/pictures/picture.h"

namespace quorivex {

/// "Magnetic susceptibility 25 m below the ground"
std::string slice_title(const SlicePlace& place);

/// The picture of a slice: a plan with the stations as dots, or a section in true elevations.
Picture picture_of(const Slice& slice, const SlicePlace& place, const Observations& stations);

}  // namespace quorivex
