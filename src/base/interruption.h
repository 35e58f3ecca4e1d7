// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorivex {

/// From now on SIGINT, SIGTERM and SIGHUP remove the unfinished files and end the program with a
/// line on standard error and status 128 + signal.
void end_cleanly_on_signals();

/// From now on a signal ends this process half a second later. Some mpiexec kill every process when
/// the first has ended: that should not be before the one with unfinished files has removed them.
void end_last_on_signals();

/// While it exists, a file is unfinished. `name` outlives it.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(const char* name);
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;
  ~UnfinishedFile();

 private:
  int place_ = -1;  // -1: the list is full, and a signal would leave the file
};

}  // namespace quorivex
