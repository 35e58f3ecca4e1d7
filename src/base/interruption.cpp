// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/interruption.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <ctime>

namespace quorivex {
namespace {

// A signal handler can reach nothing but globals, and may neither lock nor allocate.
std::array<std::atomic<const char*>, 16> unfinished{};
std::atomic<bool> ends_last{false};
static_assert(std::atomic<const char*>::is_always_lock_free);

extern "C" void end_now(int signal) {
  for (const auto& file : unfinished) {
    const char* const name = file.load();
    if (name != nullptr) ::unlink(name);
  }
  constexpr char kText[] = "\nInterrupted; unfinished files were removed.\n";
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kText, sizeof(kText) - 1);
  if (ends_last) {
    constexpr timespec kPause{0, 500'000'000};
    ::nanosleep(&kPause, nullptr);
  }
  ::_exit(128 + signal);
}

}  // namespace

void end_cleanly_on_signals() {
  struct sigaction action {};
  action.sa_handler = end_now;
  ::sigfillset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    // What was started to ignore a signal (nohup, a shell's background job) goes on ignoring it.
    if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) continue;
    ::sigaction(signal, &action, nullptr);
  }
}

void end_last_on_signals() { ends_last = true; }

UnfinishedFile::UnfinishedFile(const char* name) {
  for (int place = 0; place < static_cast<int>(unfinished.size()); ++place) {
    const char* none = nullptr;
    if (unfinished[static_cast<std::size_t>(place)].compare_exchange_strong(none, name)) {
      place_ = place;
      return;
    }
  }
}

UnfinishedFile::~UnfinishedFile() {
  if (place_ >= 0) unfinished[static_cast<std::size_t>(place_)] = nullptr;
}

}  // namespace quorivex
