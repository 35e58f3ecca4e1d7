// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>

namespace quorivex::fuzz {

/// While it lives the process is aborted where it holds more than ten times the input and 100 MB
/// beyond what it held before. Without an address or thread sanitizer nothing is counted.
class MemoryLimit {
 public:
  explicit MemoryLimit(std::size_t input_bytes);
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;
  ~MemoryLimit();
};

}  // namespace quorivex::fuzz
