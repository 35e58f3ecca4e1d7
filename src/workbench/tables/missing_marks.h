// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// The marks of missing values that the user named, and the numbers that are commonly used as such.
class MissingMarks {
 public:
  /// @param marks  as TableRequest::missing
  explicit MissingMarks(const std::vector<std::string>& marks);

  /// Whether the field is one of the marks; numbers are compared by their values.
  bool marks(const std::string& field) const;

  /// Whether the value is -9999, -99999 or the like, unless "none" is among the marks.
  bool looks_like_one(double value) const;

 private:
  std::vector<double> numbers_;
  std::vector<std::string> texts_;
  bool usual_are_numbers_ = false;
};

}  // namespace quorivex
