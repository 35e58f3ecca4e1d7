// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorivex {

/// What the steps of a preparation report, in their order.
struct SurveyNotes {
  std::vector<std::string> remarks;   ///< what was done, one line each: for the file and the user
  std::vector<std::string> warnings;  ///< for the user only
};

}  // namespace quorivex
