// SPDX-License-Identifier: GPL-3.0-or-later
// What the fuzzing engine calls; QUORIVEX_FUZZ_TARGET is one of fuzz/targets.h.
#include <cstddef>
#include <cstdint>

#include "fuzz/memory_limit.h"
#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const quorivex::fuzz::MemoryLimit limit(size);
  quorivex::fuzz::QUORIVEX_FUZZ_TARGET(bytes);
  return 0;
}
