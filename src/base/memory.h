// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace quorivex {

/// Throws std::bad_alloc for a large request that exceeds what the machine, or the limit of a
/// container or a batch job, has available. The system would grant it, and kill the program without
/// a message once the memory is used.
void require_available_memory(std::uint64_t bytes);

/// What the memory limits of this process's control groups leave, in bytes; unlimited without any.
/// `list` is like /proc/self/cgroup, `mount` like /sys/fs/cgroup.
std::uint64_t memory_of_control_groups(const std::string& list, const std::string& mount);

/// Memory that is not set to zero, for std::free; a large piece on pages as large as the processor
/// has, so that long streams seldom wait for an address translation.
/// @throws std::bad_alloc as require_available_memory, or when the system refuses
void* raw_memory(std::size_t bytes);

/// Room for `size` elements in all.
/// @throws std::bad_alloc as require_available_memory, or when the system refuses
template <class T>
void reserve_checked(std::vector<T>& values, std::size_t size) {
  require_available_memory(size * sizeof(T));
  values.reserve(size);
}

/// push_back for a vector that grows with the lines or records of a file.
/// @throws std::bad_alloc where the next doubling exceeds what the machine has available
template <class T>
void append_checked(std::vector<T>& values, T value) {
  if (values.size() == values.capacity()) require_available_memory(2 * values.size() * sizeof(T));
  values.push_back(std::move(value));
}

}  // namespace quorivex
