// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace quorivex::test {

/// Numbers from -1 to 1, the same for the same seed on every platform.
inline std::vector<double> values_of_seed(std::size_t count, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  std::vector<double> values(count);
  for (double& value : values) value = static_cast<double>(random() >> 11) * 0x1p-52 - 1.0;
  return values;
}

inline double dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

/// The numbers of a text, up to the first word that is none.
inline std::vector<double> numbers(const std::string& text) {
  std::istringstream stream(text);
  std::vector<double> values;
  for (double value = 0.0; stream >> value;) values.push_back(value);
  return values;
}

}  // namespace quorivex::test
