// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/statistics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace quorivex {

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
  return 0.5 * (*middle + *std::max_element(values.begin(), middle));
}

double mean(const std::vector<double>& values) {
  const double sum = std::accumulate(values.begin(), values.end(), 0.0);
  return sum / static_cast<double>(values.size());
}

std::string format_range(const std::vector<double>& values, std::string_view unit, int digits) {
  if (values.empty()) return "no values";
  const auto [min, max] = std::minmax_element(values.begin(), values.end());
  const std::string from = fmt::format("{:.{}g}", *min, digits);
  const std::string to = fmt::format("{:.{}g}", *max, digits);
  const std::string in_unit = unit.empty() ? "" : fmt::format(" {}", unit);
  return from == to ? fmt::format("{}{} everywhere", from, in_unit)
                    : fmt::format("{} to {}{}", from, to, in_unit);
}

std::string format_coordinates(const std::vector<double>& metres) {
  if (metres.empty()) return "no values";
  const auto [min, max] = std::minmax_element(metres.begin(), metres.end());
  constexpr int kDigits = 13;
  return format_range({std::round(*min * 1000.0) / 1000.0, std::round(*max * 1000.0) / 1000.0}, "m",
                      kDigits);
}

}  // namespace quorivex
