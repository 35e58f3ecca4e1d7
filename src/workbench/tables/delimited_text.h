// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorivex {

inline constexpr char kBlanks = ' ';  ///< the separator that stands for runs of blanks and tabs

/// What a line of a table is cut at, guessed from the line: the first of tab, semicolon and comma
/// that stands in it outside quotes, otherwise blanks.
char guess_separator(std::string_view line);

/// The fields of a line, trimmed. A field in double quotes may hold the separator, and "" stands
/// for a quote in it. Between two separators lies an empty field, except with kBlanks.
std::vector<std::string> split_fields(std::string_view line, char separator);

}  // namespace quorivex
