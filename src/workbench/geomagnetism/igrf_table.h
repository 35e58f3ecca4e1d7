// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace quorivex {

/// The IGRF table of Debian's package casacore-data-igrf (file table.f0i), put into the program
/// when it is built.
std::string_view igrf_table();

}  // namespace quorivex
