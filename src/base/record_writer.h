// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "base/atomic_file.h"

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

/// True when a record of that many bytes can be framed with a 4-byte count.
bool fits_record(std::int64_t bytes);

/// Bytes of the framed record made of the parts.
std::int64_t framed_bytes(std::initializer_list<std::string_view> parts);

/// Writes one framed record made of the parts one after another; see RecordFile. The record must
/// fit.
void write_record(AtomicFile& file, std::initializer_list<std::string_view> parts);

}  // namespace quorivex
