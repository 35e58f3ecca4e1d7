// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorivex {

/// The text without blanks, tabs and carriage returns at both ends.
std::string_view trim(std::string_view text);

/// The text with its letters A to Z in lower case.
std::string lower_case(std::string_view text);

/// The text with its line breaks as blanks.
std::string one_line(std::string text);

/// The text with its control characters but line ends as blanks: those of a file's line must not
/// reach a terminal.
std::string without_controls(std::string_view text);

/// A finite number that uses the whole text ("+3", "1.5e3", "1.5D3"), otherwise nothing.
std::optional<double> to_number(std::string_view text);

/// The text for elements and attributes of XML and HTML: &, <, >, quotes and line breaks as
/// entities, other control characters as U+FFFD.
std::string escape_xml(std::string_view text);

}  // namespace quorivex
