// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>

namespace quorivex {

/// The arrays of the IGRF table of Debian's package casacore-data-igrf (file table.f0i), put into
/// the program when it is built.
extern const unsigned char* const kIgrfTable;
extern const std::size_t kIgrfTableBytes;

}  // namespace quorivex
