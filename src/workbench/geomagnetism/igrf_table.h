// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace quorivex {

/// The table of coefficients in data/, put into the program when it is built.
std::string_view igrf_table();

}  // namespace quorivex
