// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/appraisal/run_facts.h"

namespace quorivex {

/// Something that a careful reader would object to, and what to do.
struct RedFlag {
  std::string title;
  std::string text;
};

/// The flags of a run; docs/guide.md has the table.
std::vector<RedFlag> red_flags(const RunFacts& facts);

}  // namespace quorivex
