// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/memory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "scratch_folder.h"

namespace quorivex::test {
namespace {

constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

// A limit overlooked where it stands above the group of the process, or counted without the cache.
TEST(ControlGroups, TheTightestLimitOnTheWayToTheRootCounts) {
  const ScratchFolder folder;
  std::filesystem::create_directories(folder.path("job/step"));
  const auto left = [&](const std::string& list) {
    return memory_of_control_groups(folder.write("list", list), folder.path(""));
  };
  EXPECT_EQ(left("0::/job/step\n"), kUnlimited);
  folder.write("job/step/memory.max", "max\n");
  EXPECT_EQ(left("0::/job/step\n"), kUnlimited);
  folder.write("job/memory.max", "1000\n");
  folder.write("job/memory.current", "600\n");
  EXPECT_EQ(left("0::/job/step\n"), 400U);
  folder.write("job/memory.stat", "anon 1\ninactive_file 250\nactive_file 7\n");
  EXPECT_EQ(left("0::/job/step\n"), 650U);
  EXPECT_EQ(left("0::/elsewhere\n"), kUnlimited);
  folder.write("memory.max", "500\n");
  EXPECT_EQ(left("0::/job/step\n"), 500U);
  EXPECT_EQ(left("0::/not/visible/here\n"), 500U) << "the path of the machine in a container";
  folder.write("job/memory.current", "2000\n");
  EXPECT_EQ(left("0::/job\n"), 0U) << "more in use than allowed";
}

TEST(ControlGroups, TheOlderVersionHasAFolderForItsMemory) {
  const ScratchFolder folder;
  std::filesystem::create_directories(folder.path("memory/job"));
  folder.write("memory/job/memory.limit_in_bytes", "1000");
  folder.write("memory/job/memory.usage_in_bytes", "900");
  folder.write("memory/job/memory.stat", "cache 1\ntotal_inactive_file 100\n");
  const auto left = [&](const std::string& list) {
    return memory_of_control_groups(folder.write("list", list), folder.path(""));
  };
  EXPECT_EQ(left("5:cpu,cpuacct:/job\n4:memory:/job\n0::/\n"), 200U);
  EXPECT_EQ(left("5:cpu,cpuacct:/job\n"), kUnlimited);
}

}  // namespace
}  // namespace quorivex::test
