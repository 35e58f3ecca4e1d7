// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/appraisal/red_flags.h"
#include "workbench/appraisal/run_facts.h"

namespace quorivex {

enum class Level { good, warning, bad };

struct Verdict {
  Level level = Level::good;
  std::string mark;      ///< two or three words
  std::string headline;  ///< one sentence
  std::vector<std::string> sentences;
};

/// What is thought of a run.
struct Appraisal {
  RunFacts facts;
  std::vector<RedFlag> flags;
  Verdict verdict;
};

/// The verdict is good only without red flags and with the files of the last iteration, bad when
/// the target is not reached or the observations are not those of the sensitivity file.
Appraisal appraise(RunFacts facts);

}  // namespace quorivex
