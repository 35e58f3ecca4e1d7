// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace quorivex {

/// A wall-clock time of day: the calendar fields and milliseconds.
struct WallTime {
  std::tm calendar{};
  int milliseconds = 0;
};

WallTime wall_time_now();

/// Seconds since the start of the year, in which every February has 28 days: a run that goes past
/// 29 February or New Year reports a wrong time.
double seconds_of_year(const WallTime& time);

/// "     LABEL cpu time:   H:MM:SS.hh" with the label right-aligned in 10 columns.
std::string elapsed_line(std::string_view label, double seconds);

/// "LABEL MM/DD/YYYY  HH:MM:SS", the month padded with a blank.
std::string date_line(std::string_view label, const WallTime& time);

/// The two times that a run measures from.
class Timer {
 public:
  Timer() : start_(seconds_of_year(wall_time_now())), previous_(start_) {}

  /// Line of the time since the previous call, or since the start.
  std::string since_previous(std::string_view label);
  std::string since_start(std::string_view label);

 private:
  double start_;
  double previous_;
};

}  // namespace quorivex
