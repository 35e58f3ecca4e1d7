// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "base/stop_run.h"

namespace quorivex {

/// What a check finds, on standard output line by line: sections with facts, and lines that begin
/// with "note:", "warning:" or "error:".
class Findings {
 public:
  static void section(std::string_view title);
  static void fact(std::string_view name, std::string_view text);
  static void line(std::string_view text);
  static void note(std::string_view text);
  void warning(std::string_view text);
  void error(std::string_view text);
  /// The error of a run that would end here with this text on its console.
  void stop(std::string_view console);

  /// Does a step of the run; false, with an error, when the run would stop there.
  template <class Step>
  bool attempt(Step step) {
    try {
      step();
      return true;
    } catch (const StopRun& end) {
      stop(end.console);
      if (!end.detail.empty()) note(end.detail);
    } catch (const std::bad_alloc&) {
      error("not enough memory");
    }
    return false;
  }

  /// Says how many there were; returns the exit status: 0 fine, 1 warnings, 2 errors.
  int close() const;

 private:
  int warnings_ = 0;
  int errors_ = 0;
};

/// "0.001 to 0.2 SI", or "0.001 SI everywhere", with so many significant digits.
std::string range_in_words(const std::vector<double>& values, std::string_view unit,
                           int digits = 6);

/// The middle one of the sorted values, of an even number the upper; there is at least one.
double median_of(std::vector<double> values);

}  // namespace quorivex
