// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorivex {

/// The middle one of the sorted values, of an even number the mean of the middle two; there is at
/// least one value, and none is NaN.
double median(std::vector<double> values);

/// The arithmetic mean; there is at least one value.
double mean(const std::vector<double>& values);

/// "0.001 to 0.2 SI", or "0.001 SI everywhere", with that many significant digits; "no values".
std::string format_range(const std::vector<double>& values, std::string_view unit, int digits = 6);

/// As format_range, of coordinates in metres, to the millimetre: what is farther behind is
/// rounding.
std::string format_coordinates(const std::vector<double>& metres);

}  // namespace quorivex
