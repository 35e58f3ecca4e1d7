// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/list_reader.h"

#include <fmt/format.h>

#include <cmath>

#include "base/stop_run.h"

namespace quorivex {

void list_error(Read read, std::string_view what, std::string_view name, const FreeFormat& from) {
  if (read == Read::end) {
    stop_run(fmt::format(" ERROR: end reached reading {} {}", what, name),
             fmt::format("It ends in line {}, before all values were read.", from.line()));
  }
  stop_run(fmt::format(" ERROR reading {} {}", what, name), from.describe_fault());
}

void expect_no_more(FreeFormat& from, std::string_view what, std::string_view name) {
  double left = 0.0;
  if (from.next(left) == Read::value || !std::isfinite(left)) {
    stop_run(fmt::format(" ERROR: too many values in {} {}", what, name),
             fmt::format("Line {} holds one more than are needed.", from.line()));
  }
}

}  // namespace quorivex
