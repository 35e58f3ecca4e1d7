// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "base/view1.h"

namespace quorivex {
namespace {

using std::chrono::duration;
using std::chrono::milliseconds;

constexpr int kBarWidth = 30;

std::string clock_time(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::llround(seconds));
  if (whole < 3600) return fmt::format("{}:{:02}", whole / 60, whole % 60);
  return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

int terminal_columns() {
  winsize size{};
  const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return known ? size.ws_col : 80;
}

}  // namespace

Progress::Progress(std::string what, std::int64_t total, WhenNotATerminal elsewhere)
    : what_(std::move(what)),
      total_(total),
      terminal_(::isatty(STDERR_FILENO) == 1),
      silent_(!terminal_ && elsewhere == WhenNotATerminal::nothing),
      start_(Clock::now()),
      next_(start_ + milliseconds(terminal_ ? 2'000 : 60'000)) {}

Progress::~Progress() {
  if (drawn_ && terminal_) std::fputs("\r\x1b[K", stderr);
}

void Progress::done(std::int64_t count, double share) {
  if (silent_ || !(share > 0.0)) return;
  share = std::min(share, 1.0);
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + milliseconds(terminal_ ? 200 : 60'000);
  const double elapsed = duration<double>(now - start_).count();
  const std::string of_total = total_ > 0 ? fmt::format(" of {}", total_) : "";
  const std::string state = fmt::format("{} {}{}, about {} to go", what_, count, of_total,
                                        clock_time(elapsed * (1.0 / share - 1.0)));
  if (terminal_) {
    // On one line of the terminal: a line that wraps could not be drawn over.
    const int columns = terminal_columns() - 1;
    const int width = std::clamp(columns - static_cast<int>(state.size()) - 3, 0, kBarWidth);
    const int filled = static_cast<int>(width * share);
    const std::string line =
        fmt::format("[{:#<{}}{:.<{}}] {}", "", filled, "", width - filled, state);
    fmt::print(stderr, "\r{}\x1b[K", line.substr(0, as_size(columns)));
  } else {
    fmt::print(stderr, "{}\n", state);
  }
  drawn_ = true;
}

}  // namespace quorivex
