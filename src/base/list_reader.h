// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/free_format.h"

namespace quorivex {

/// " ERROR: end reached reading WHAT NAME" or " ERROR reading WHAT NAME", as `read` says of what
/// was last read; the detail has the line.
[[noreturn]] void list_error(Read read, std::string_view what, std::string_view name,
                             const FreeFormat& from);

/// Fills `values` from a file read whole, any number of values per line.
/// `what` names the file in messages ("active cell file").
template <class Values>
void read_list(FreeFormat& from, Values&& values, std::string_view what, std::string_view name) {
  for (auto& value : values) {
    const Read read = from.next(value);
    if (read != Read::value) list_error(read, what, name, from);
  }
}

/// A list in a file of which a part is wanted.
struct ListPart {
  std::string_view what;  ///< names the file in messages
  std::string_view name;
  std::int64_t before = 0;  ///< values of the list before the part
  std::int64_t values = 0;  ///< of the whole list
};

/// The same for a part of a list; the others are read and forgotten.
template <class Values>
void read_part_of_list(FreeFormat& from, const ListPart& part, Values&& values) {
  std::decay_t<decltype(*values.begin())> other{};
  const auto read = [&](auto& to) {
    const Read found = from.next(to);
    if (found != Read::value) list_error(found, part.what, part.name, from);
  };
  const std::int64_t after = part.values - part.before - static_cast<std::int64_t>(values.size());
  for (std::int64_t n = 0; n < part.before; ++n) read(other);
  for (auto& value : values) read(value);
  for (std::int64_t n = 0; n < after; ++n) read(other);
}

/// Ends the run when a number is left in the file, whether it could be used or not (NaN,
/// infinite, a fraction where integers stand).
void expect_no_more(FreeFormat& from, std::string_view what, std::string_view name);

}  // namespace quorivex
