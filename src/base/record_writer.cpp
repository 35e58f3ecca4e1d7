// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/record_writer.h"

#include <limits>

#include "base/stop_run.h"

namespace quorivex {

std::int64_t bytes_of_parts(std::initializer_list<std::string_view> parts) {
  std::int64_t bytes = 0;
  for (const std::string_view part : parts) bytes += static_cast<std::int64_t>(part.size());
  return bytes;
}

bool fits_record(std::int64_t bytes) { return bytes <= std::numeric_limits<std::int32_t>::max(); }

std::int64_t framed_bytes(std::initializer_list<std::string_view> parts) {
  return bytes_of_parts(parts) + kFrameBytes;
}

}  // namespace quorivex
