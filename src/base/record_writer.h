// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "base/stop_run.h"

namespace quorivex {

/// The bytes of items as they lie in memory, little-endian.
template <class T>
std::string_view bytes_of(const T* items, std::int64_t count) {
  return {reinterpret_cast<const char*>(items), static_cast<std::size_t>(count) * sizeof(T)};
}
template <class T>
std::string_view bytes_of(const std::vector<T>& items) {
  return bytes_of(items.data(), static_cast<std::int64_t>(items.size()));
}

/// Bytes that frame a record: its length before and after it.
inline constexpr std::int64_t kFrameBytes = 2 * sizeof(std::int32_t);

/// True when a record of that many bytes can be framed with a 4-byte count.
bool fits_record(std::int64_t bytes);

/// Bytes of the parts together.
std::int64_t bytes_of_parts(std::initializer_list<std::string_view> parts);

/// Bytes of the framed record made of the parts.
std::int64_t framed_bytes(std::initializer_list<std::string_view> parts);

/// Appends one framed record made of the parts one after another to a file or a string; see
/// RecordFile. The record must fit.
template <class To>
void write_record(To& to, std::initializer_list<std::string_view> parts) {
  const std::int64_t bytes = bytes_of_parts(parts);
  require(fits_record(bytes), "record longer than 2147483647 bytes");
  const auto count = static_cast<std::int32_t>(bytes);
  to.append(bytes_of(&count, 1));
  for (const std::string_view part : parts) to.append(part);
  to.append(bytes_of(&count, 1));
}

}  // namespace quorivex
