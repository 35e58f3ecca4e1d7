// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quorivex {

/// Writes files, each complete or not at all, that a library makes one by one in a process of its
/// own: make(n) returns the bytes of names[n], or none where the library is missing. It has
/// `seconds` of a processor for each: some libraries go round for ever where memory ends.
/// @return false where it is missing; nothing is written then
/// @throws StopRun what ended `make`; " ERROR writing file NAME: ..." where that process crashed
bool write_library_files(const std::vector<std::string>& names,
                         const std::function<std::string(std::size_t)>& make,
                         const std::string& library, std::uint64_t seconds);

}  // namespace quorivex
