// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/tables/missing_marks.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/text.h"

namespace quorivex {

MissingMarks::MissingMarks(const std::vector<std::string>& marks) {
  for (const std::string& mark : marks) {
    if (mark == "none") {
      usual_are_numbers_ = true;
    } else if (const auto number = to_number(mark)) {
      numbers_.push_back(*number);
    } else {
      texts_.push_back(mark == "empty" ? "" : mark);
    }
  }
}

bool MissingMarks::marks(const std::string& field) const {
  if (std::find(texts_.begin(), texts_.end(), field) != texts_.end()) return true;
  const auto value = numbers_.empty() ? std::nullopt : to_number(field);
  return value && std::find(numbers_.begin(), numbers_.end(), *value) != numbers_.end();
}

bool MissingMarks::looks_like_one(double value) const {
  constexpr std::array kUsual{-9999.0, -99999.0, -999999.0, -9999999.0};
  return !usual_are_numbers_ && std::find(kUsual.begin(), kUsual.end(), value) != kUsual.end();
}

}  // namespace quorivex
