// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include "base/interruption.h"

namespace quorivex {

/// While it exists, another program with the same output is refused. The lock is one of the system
/// on an empty file OUTPUT.lock; it ends with the program, however that ends, and the file goes
/// with it unless the program was killed.
class OutputLock {
 public:
  /// @throws StopRun " ERROR writing file OUTPUT: REASON"
  explicit OutputLock(const std::string& output);
  OutputLock(const OutputLock&) = delete;
  OutputLock& operator=(const OutputLock&) = delete;
  ~OutputLock();

 private:
  std::string place_;
  int descriptor_ = -1;
  UnfinishedFile unfinished_;
};

}  // namespace quorivex
