// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/tables/row_faults.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::size_t kExcerpt = 160;  // characters of a line in a message
constexpr std::int64_t kListed = 5;    // faults in a message

}  // namespace

std::string excerpt(std::string_view line) {
  std::string text(line.substr(0, kExcerpt));
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' '; }, ' ');
  return line.size() > kExcerpt ? text + " ..." : text;
}

void RowFaults::add(std::int64_t number, const std::string& why, std::string_view line) {
  if (++count_ > kListed) return;
  list_ += fmt::format(" line {}: {}\n    {}\n", number, why, excerpt(line));
}

void RowFaults::refuse_any() const {
  if (count_ == 0) return;
  const std::string more = count_ > kListed ? fmt::format(" and {} more\n", count_ - kListed) : "";
  stop_run(fmt::format(" ERROR: {} holds rows that cannot be used:\n{}{} {}", name_, list_, more,
                       advice_));
}

}  // namespace quorivex
