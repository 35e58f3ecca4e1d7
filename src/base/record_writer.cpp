// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/record_writer.h"

#include <limits>

#include "base/stop_run.h"

namespace quorivex {
namespace {

std::int64_t bytes_of_parts(std::initializer_list<std::string_view> parts) {
  std::int64_t bytes = 0;
  for (const std::string_view part : parts) bytes += static_cast<std::int64_t>(part.size());
  return bytes;
}

}  // namespace

bool fits_record(std::int64_t bytes) { return bytes <= std::numeric_limits<std::int32_t>::max(); }

std::int64_t framed_bytes(std::initializer_list<std::string_view> parts) {
  return bytes_of_parts(parts) + 2 * std::int64_t{sizeof(std::int32_t)};
}

void write_record(AtomicFile& file, std::initializer_list<std::string_view> parts) {
  const std::int64_t bytes = bytes_of_parts(parts);
  require(fits_record(bytes), "record longer than 2147483647 bytes");
  const auto count = static_cast<std::int32_t>(bytes);
  file.append(bytes_of(&count, 1));
  for (const std::string_view part : parts) file.append(part);
  file.append(bytes_of(&count, 1));
}

}  // namespace quorivex
