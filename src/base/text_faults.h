// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorivex {

/// What a file is that begins like this, with what to do, where it is no plain text: "is UTF-16
/// text; save it as UTF-8"; empty otherwise.
std::string foreign_format(std::string_view beginning);

/// The first word of a line that is a number with a decimal comma ("453307,5"), where blanks, tabs
/// or semicolons separate two words or more; empty without one.
std::string_view decimal_comma_in(std::string_view line);

}  // namespace quorivex
