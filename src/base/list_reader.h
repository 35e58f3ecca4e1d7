// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

#include "base/free_format.h"

namespace quorivex {

/// " ERROR: end reached reading WHAT NAME" or " ERROR reading WHAT NAME", as `read` says.
[[noreturn]] void list_error(Read read, std::string_view what, std::string_view name);

/// Fills `values` from a file read whole, any number of values per line.
/// `what` names the file in messages ("active cell file").
template <class Values>
void read_list(FreeFormat& from, Values&& values, std::string_view what, std::string_view name) {
  for (auto& value : values) {
    const Read read = from.next(value);
    if (read != Read::value) list_error(read, what, name);
  }
}

/// Ends the run when a number is left in the file, whether it could be used or not (NaN,
/// infinite, a fraction where integers stand).
void expect_no_more(FreeFormat& from, std::string_view what, std::string_view name);

}  // namespace quorivex
