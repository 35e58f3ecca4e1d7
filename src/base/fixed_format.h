// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorivex {

// Fields of fixed width. A number that needs more columns than its field has takes them: a wide
// column is a lesser evil than a lost value. Infinities and NaN are written as words.

/// One digit before the point: sci(0.001, 11, 4) is " 1.0000E-03".
std::string sci(double value, int width, int decimals);

/// The same at the end of a text.
void append_sci(std::string& text, double value, int width, int decimals);

/// Fixed point: fixed(65.0, 10, 2) is "     65.00".
std::string fixed(double value, int width, int decimals);

/// Three significant digits in ten columns: from 0.1 up to 1000 fixed point and four blanks
/// ("  1.00    "), otherwise three decimals in scientific form (" 1.000E-04").
std::string three_significant(double value);

/// Integer, right-aligned.
std::string whole(std::int64_t value, int width);

/// Text, right-aligned.
std::string right(std::string_view text, int width);

/// At least three digits with leading zeros: three_digits(7) is "007".
std::string three_digits(std::int64_t value);

/// The text without trailing blanks, tabs and carriage returns.
std::string_view trim_right(std::string_view text);

}  // namespace quorivex
