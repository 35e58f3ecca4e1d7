// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/timer.h"

#include <fmt/format.h>

#include <array>
#include <chrono>

#include "base/fixed_format.h"

namespace quorivex {

WallTime wall_time_now() {
  using std::chrono::system_clock;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const auto since_epoch =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
  WallTime time;
  localtime_r(&seconds, &time.calendar);
  time.milliseconds = static_cast<int>(since_epoch.count() % 1000);
  return time;
}

double seconds_of_year(const WallTime& time) {
  constexpr std::array<int, 11> kMonthDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30};
  const std::tm& t = time.calendar;
  int days = t.tm_mday - 1;
  for (int month = 0; month < t.tm_mon; ++month) days += kMonthDays[static_cast<unsigned>(month)];
  return time.milliseconds * 0.001 + t.tm_sec + 60.0 * t.tm_min + 3600.0 * t.tm_hour +
         86400.0 * days;
}

std::string elapsed_line(std::string_view label, double seconds) {
  const int hours = static_cast<int>(seconds / 3600.0);
  const int minutes = static_cast<int>((seconds - 3600.0 * hours) / 60.0);
  const int whole_seconds = static_cast<int>(seconds - 3600.0 * hours - 60.0 * minutes);
  const int hundredths = static_cast<int>((seconds - static_cast<int>(seconds)) * 100.0);
  return fmt::format("{} cpu time:{:4}:{:02}:{:02}.{:02}\n", right(trim_right(label), 10), hours,
                     minutes, whole_seconds, hundredths);
}

std::string date_line(std::string_view label, const WallTime& time) {
  const std::tm& t = time.calendar;
  return fmt::format("{} {:2}/{:02}/{:04}  {:02}:{:02}:{:02}\n", trim_right(label), t.tm_mon + 1,
                     t.tm_mday, t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec);
}

std::string Timer::since_previous(std::string_view label) {
  const double now = seconds_of_year(wall_time_now());
  const double elapsed = now - previous_;
  previous_ = now;
  return elapsed_line(label, elapsed);
}

std::string Timer::since_start(std::string_view label) {
  previous_ = seconds_of_year(wall_time_now());
  return elapsed_line(label, previous_ - start_);
}

}  // namespace quorivex
