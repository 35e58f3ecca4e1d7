// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/memory.h"

#include <fmt/format.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <string>

namespace quorivex {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kLarge = std::uint64_t{256} * 1024 * 1024;

constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

/// Main memory and swap space in bytes; unlimited where the system does not say.
std::uint64_t memory_of_machine() {
  std::ifstream file("/proc/meminfo");
  std::uint64_t kibibytes = 0;
  bool known = false;
  std::string line;
  for (std::string label; file >> label; std::getline(file, line)) {
    std::uint64_t value = 0;
    if (label != "MemAvailable:" && label != "SwapFree:") continue;
    if (file >> value) kibibytes += value;
    known = known || label == "MemAvailable:";
  }
  return known ? kibibytes * 1024 : kUnlimited;
}

/// The files of one version of control groups.
struct GroupFiles {
  const char* folder;
  const char* limit;
  const char* usage;
  const char* cache;  // in memory.stat: what the system gives up first
};
constexpr GroupFiles kVersion1{"memory", "memory.limit_in_bytes", "memory.usage_in_bytes",
                               "total_inactive_file"};
constexpr GroupFiles kVersion2{"", "memory.max", "memory.current", "inactive_file"};

/// What the limit of one group leaves; unlimited without one.
std::uint64_t memory_of_group(const fs::path& group, const GroupFiles& files) {
  std::uint64_t limit = 0;
  std::uint64_t usage = 0;
  if (!(std::ifstream(group / files.limit) >> limit)) return kUnlimited;  // "max"
  std::ifstream(group / files.usage) >> usage;
  std::ifstream stat(group / "memory.stat");
  std::uint64_t value = 0;
  for (std::string label; stat >> label >> value;) {
    if (label == files.cache) usage -= std::min(usage, value);
  }
  return limit - std::min(limit, usage);
}

}  // namespace

std::uint64_t memory_of_control_groups(const std::string& list, const std::string& mount) {
  std::uint64_t least = kUnlimited;
  std::ifstream lines(list);  // NUMBER:CONTROLLERS:PATH
  for (std::string line; std::getline(lines, line);) {
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const std::string controllers = fmt::format(",{},", line.substr(first + 1, second - first - 1));
    const bool all = line.starts_with("0::");
    if (!all && controllers.find(",memory,") == std::string::npos) continue;
    const GroupFiles& files = all ? kVersion2 : kVersion1;
    const fs::path root = fs::path(mount) / files.folder;
    // In a container the path may be that of the machine: then its own root has the limit.
    fs::path group = fs::path(line.substr(second + 1)).relative_path();
    for (;; group = group.parent_path()) {
      least = std::min(least, memory_of_group(root / group, files));
      if (group.empty()) break;
    }
  }
  return least;
}

void require_available_memory(std::uint64_t bytes) {
  if (bytes < kLarge) return;
  const std::uint64_t available = std::min(
      memory_of_machine(), memory_of_control_groups("/proc/self/cgroup", "/sys/fs/cgroup"));
  if (bytes > available) throw std::bad_alloc();
}

void* raw_memory(std::size_t bytes) {
  constexpr std::size_t kLargePage = std::size_t{2} << 20U;
  require_available_memory(bytes);
  const bool large = bytes >= 4 * kLargePage;
  // The size is to be a multiple of the alignment.
  const std::size_t alignment = large ? kLargePage : alignof(std::max_align_t);
  void* memory =
      bytes > SIZE_MAX - alignment
          ? nullptr
          : std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
  if (memory == nullptr && bytes > 0) throw std::bad_alloc();
  if (large) ::madvise(memory, bytes, MADV_HUGEPAGE);
  return memory;
}

}  // namespace quorivex
