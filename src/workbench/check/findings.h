// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <new>
#include <string>
#include <string_view>

#include "base/stop_run.h"

namespace quorivex {

/// Prints what a check finds on standard output: sections with facts, and lines that begin with
/// "note:", "warning:" or "error:". Counts warnings and errors.
class Findings {
 public:
  static void section(std::string_view title);
  static void fact(std::string_view name, std::string_view text);
  static void line(std::string_view text);
  static void note(std::string_view text);
  void warning(std::string_view text);
  void error(std::string_view text);
  /// The error of a run that would end here.
  void stop(const StopRun& end);

  /// Performs a step of the run; false, with an error, when the run would stop there.
  template <class Step>
  bool attempt(Step step) {
    try {
      step();
      return true;
    } catch (const StopRun& end) {
      stop(end);
      if (!end.detail().empty()) note(end.detail());
    } catch (const std::bad_alloc&) {
      error("not enough memory");
    }
    return false;
  }

  /// Prints the counts; returns the exit status: 0 fine, 1 warnings, 2 errors.
  int close() const;

 private:
  int warnings_ = 0;
  int errors_ = 0;
};

}  // namespace quorivex
