// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/interruption.h"

#include <cxxabi.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <new>
#include <typeinfo>

namespace quorivex {
namespace {

// Handlers can reach nothing but globals, and may neither lock nor allocate.
std::array<std::atomic<const char*>, 16> unfinished{};
std::atomic<int> waiting{0};  // how many SignalsWait there are
std::atomic<bool> ends_last{false};
std::atomic<void (*)()> tell_exit{nullptr};
std::atomic<int> exit_status{0};
static_assert(std::atomic<const char*>::is_always_lock_free);

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

void pause_for(long nanoseconds) {
  const timespec pause{0, nanoseconds};
  ::nanosleep(&pause, nullptr);
}

void remove_unfinished_files() {
  // A second at most: the thread may be waiting for a disk that does not answer.
  for (int tries = 0; waiting > 0 && tries < 1000; ++tries) pause_for(1'000'000);
  for (const auto& file : unfinished) {
    const char* const name = file.load();
    if (name != nullptr) ::unlink(name);
  }
}

extern "C" void end_now(int signal) {
  remove_unfinished_files();
  constexpr char kText[] = "\nInterrupted; unfinished files were removed.\n";
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kText, sizeof(kText) - 1);
  if (ends_last) pause_for(500'000'000);
  ::_exit(128 + signal);
}

/// For std::atexit, and where an exception came out of what lets none out.
extern "C" void end_of_library() {
  void (*const tell)() = tell_exit.exchange(nullptr);
  if (tell == nullptr) return;
  remove_unfinished_files();
  tell();
  ::_exit(exit_status);
}

[[noreturn]] void end_terminated() {
  const std::type_info* const type = abi::__cxa_current_exception_type();
  if (type == nullptr || *type != typeid(std::bad_alloc)) std::abort();
  end_of_library();
  constexpr char kText[] = "Memory allocation error in: the start of the program\n";
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kText, sizeof(kText) - 1);
  ::_exit(1);
}

// Before the objects that libraries make before main: 101 is the first number that is free.
[[gnu::constructor(101)]] void end_cleanly_without_memory() { std::set_terminate(end_terminated); }

}  // namespace

void end_cleanly_on_signals() {
  struct sigaction action {};
  action.sa_handler = end_now;
  ::sigfillset(&action.sa_mask);
  for (const int signal : kSignals) {
    struct sigaction before {};
    // What was started to ignore a signal (nohup, a shell's background job) goes on ignoring it.
    if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) continue;
    ::sigaction(signal, &action, nullptr);
  }
}

void end_last_on_signals() { ends_last = true; }

ExitGuard::ExitGuard(void (*tell)(), int status) {
  static const bool kAsked = std::atexit(end_of_library) == 0;
  exit_status = status;
  if (kAsked) tell_exit = tell;
}

ExitGuard::~ExitGuard() { tell_exit = nullptr; }

SignalsWait::SignalsWait() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : kSignals) ::sigaddset(&signals, signal);
  ::pthread_sigmask(SIG_BLOCK, &signals, &before_);
  ++waiting;
}

SignalsWait::~SignalsWait() {
  --waiting;
  ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void UnfinishedFile::remember(const std::string& name) {
  for (int place = 0; place < static_cast<int>(unfinished.size()); ++place) {
    const char* none = nullptr;
    if (unfinished[static_cast<std::size_t>(place)].compare_exchange_strong(none, name.c_str())) {
      place_ = place;
      return;
    }
  }
}

void UnfinishedFile::forget() {
  if (place_ >= 0) unfinished[static_cast<std::size_t>(place_)] = nullptr;
  place_ = -1;
}

}  // namespace quorivex
