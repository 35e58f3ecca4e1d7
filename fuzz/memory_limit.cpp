// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/memory_limit.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

// Of the runtime library of the sanitizers; null without one.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
[[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(
    void (*malloc_hook)(const volatile void*, std::size_t),
    void (*free_hook)(const volatile void*));
[[gnu::weak]] std::size_t __sanitizer_get_allocated_size(const volatile void*);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace quorivex::fuzz {
namespace {

constexpr std::int64_t kFree = 100'000'000;
constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();

std::atomic<std::int64_t> live{0};  // bytes
std::atomic<std::int64_t> most{kUnlimited};

void count_malloc(const volatile void* memory, std::size_t bytes) {
  if (memory == nullptr) return;
  const auto more = static_cast<std::int64_t>(bytes);
  const std::int64_t now = live.fetch_add(more, std::memory_order_relaxed) + more;
  if (now <= most.load(std::memory_order_relaxed)) return;
  most = kUnlimited;
  std::fprintf(stderr,
               "MemoryLimit: a request of %zu bytes exceeds ten times the input and 100 MB\n",
               bytes);
  std::abort();
}

void count_free(const volatile void* memory) {
  if (memory == nullptr) return;
  live -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(memory));
}

bool counting() {
  static const bool kCounting =
      __sanitizer_install_malloc_and_free_hooks != nullptr &&
      __sanitizer_install_malloc_and_free_hooks(count_malloc, count_free) != 0;
  return kCounting;
}

}  // namespace

MemoryLimit::MemoryLimit(std::size_t input_bytes) {
  if (counting()) most = live + kFree + 10 * static_cast<std::int64_t>(input_bytes);
}

MemoryLimit::~MemoryLimit() { most = kUnlimited; }

}  // namespace quorivex::fuzz
