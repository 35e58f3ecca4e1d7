// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex::test {

template <class T>
void append(std::string& bytes, const T& value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof(T));
}
template <class T>
void append(std::string& bytes, const std::vector<T>& values) {
  for (const T& value : values) append(bytes, value);
}

/// The payload of one record: its items without gaps.
template <class... Items>
std::string record(const Items&... items) {
  std::string payload;
  (append(payload, items), ...);
  return payload;
}

/// The file of the records with these payloads.
inline std::string framed(const std::vector<std::string>& payloads) {
  std::string file;
  for (const std::string& payload : payloads) {
    const std::string count = record(static_cast<std::int32_t>(payload.size()));
    file += count + payload + count;
  }
  return file;
}

}  // namespace quorivex::test
