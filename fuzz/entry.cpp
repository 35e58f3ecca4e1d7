// SPDX-License-Identifier: GPL-3.0-or-later
// What the fuzzing engine calls; QUORIVEX_FUZZ_TARGET is one of fuzz/targets.h.
#include <pthread.h>

#include <csignal>
#include <cstddef>
#include <cstdint>

#include "fuzz/memory_limit.h"
#include "fuzz/targets.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __sanitizer_set_death_callback(void (*callback)());

namespace {

/// The faults of a child process are its parent's business, not the engine's.
[[maybe_unused]] const int kChildren = pthread_atfork(nullptr, nullptr, [] {
  __sanitizer_set_death_callback([] {});
  std::signal(SIGABRT, SIG_DFL);
});

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const quorivex::fuzz::MemoryLimit limit(size);
  quorivex::fuzz::QUORIVEX_FUZZ_TARGET(bytes);
  return 0;
}
