// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <csignal>
#include <string>

namespace quorivex {

/// From now on SIGINT, SIGTERM and SIGHUP remove the unfinished files and end the program with a
/// line on standard error and status 128 + signal.
void end_cleanly_on_signals();

/// From now on a signal ends this process half a second later. Some mpiexec kill every process when
/// the first has ended: that should not be before the one with unfinished files has removed them.
void end_last_on_signals();

/// While it exists, a library that ends the program for want of memory does so with `tell`, which
/// may not allocate, without unfinished files and with this status: one that calls exit, as the
/// runtime of the threads does where it gets no memory or no thread, or one that lets bad_alloc out
/// where no exception may come out.
class ExitGuard {
 public:
  ExitGuard(void (*tell)(), int status);
  ExitGuard(const ExitGuard&) = delete;
  ExitGuard& operator=(const ExitGuard&) = delete;
  ~ExitGuard();
};

/// While it exists, a signal to end waits, in whatever thread it arrives: for a file that is there
/// and not yet in the list, or the other way round.
class SignalsWait {
 public:
  SignalsWait();
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;
  ~SignalsWait();

 private:
  sigset_t before_{};
};

/// A file in the list of those that a signal removes. `name` outlives it.
class UnfinishedFile {
 public:
  UnfinishedFile() = default;
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;
  ~UnfinishedFile() { forget(); }

  void remember(const std::string& name);
  void forget();

 private:
  int place_ = -1;  // -1: not in the list, which may be full; then a signal leaves the file
};

}  // namespace quorivex
