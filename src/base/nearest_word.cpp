// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/nearest_word.h"

#include <algorithm>
#include <cstddef>

#include "base/text.h"

namespace quorivex {
namespace {

/// The optimal string alignment distance of two words.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        d[i][j] = i + j;
        continue;
      }
      const bool same = a[i - 1] == b[j - 1];
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
      }
    }
  }
  return d.back().back();
}

/// The only known word that begins so, or nothing.
std::string only_beginning(const std::string& word, const std::vector<std::string>& known) {
  std::string found;
  for (const std::string& other : known) {
    if (!other.starts_with(word)) continue;
    if (!found.empty()) return "";
    found = other;
  }
  return found;
}

}  // namespace

std::string nearest_word(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t kMost = 3;
  constexpr std::size_t kLongest = 100;  // characters of a word worth comparing
  std::string nearest;
  std::size_t least = kMost + 1;
  if (word.empty() || word.size() > kLongest) return nearest;
  const std::string small = lower_case(word);
  nearest = only_beginning(small, known);
  if (!nearest.empty()) return nearest;
  for (const std::string& other : known) {
    const std::size_t changes = distance(small, other);
    if (changes >= least || 3 * changes > other.size()) continue;
    least = changes;
    nearest = other;
  }
  return nearest;
}

}  // namespace quorivex
