// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/memory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <string>

namespace quorivex {
namespace {

constexpr std::uint64_t kLarge = std::uint64_t{256} * 1024 * 1024;

/// Main memory and swap space in bytes; unlimited where the system does not say.
std::uint64_t available_memory() {
  std::ifstream file("/proc/meminfo");
  std::uint64_t kibibytes = 0;
  bool known = false;
  std::string line;
  for (std::string label; file >> label; std::getline(file, line)) {
    std::uint64_t value = 0;
    if (label != "MemAvailable:" && label != "SwapFree:") continue;
    if (file >> value) kibibytes += value;
    known = known || label == "MemAvailable:";
  }
  return known ? kibibytes * 1024 : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

void require_available_memory(std::uint64_t bytes) {
  if (bytes >= kLarge && bytes > available_memory()) throw std::bad_alloc();
}

void* raw_memory(std::size_t bytes) {
  constexpr std::size_t kLargePage = std::size_t{2} << 20U;
  require_available_memory(bytes);
  const bool large = bytes >= 4 * kLargePage;
  // The size is to be a multiple of the alignment.
  const std::size_t alignment = large ? kLargePage : alignof(std::max_align_t);
  void* memory =
      bytes > SIZE_MAX - alignment
          ? nullptr
          : std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
  if (memory == nullptr && bytes > 0) throw std::bad_alloc();
  if (large) ::madvise(memory, bytes, MADV_HUGEPAGE);
  return memory;
}

}  // namespace quorivex
