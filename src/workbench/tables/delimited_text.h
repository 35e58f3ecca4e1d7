// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorivex {

inline constexpr char kBlanks = ' ';  ///< separator: runs of blanks and tabs

/// The separator of a line, guessed from it: the first of tab, semicolon and comma that occurs
/// outside quotes, otherwise blanks.
char guess_separator(std::string_view line);

/// "\n It has semicolons: --separator semicolon?" for a line that seems to have another separator
/// than the one it was split with; empty otherwise.
std::string separator_hint(std::string_view line, char separator);

/// The fields of a line, trimmed. A field in double quotes may contain the separator, and "" in it
/// stands for a quote. Between two separators lies an empty field, except with kBlanks.
std::vector<std::string> split_fields(std::string_view line, char separator);

}  // namespace quorivex
