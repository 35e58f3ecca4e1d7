// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/memory_limit.h"
#include "fuzz/targets.h"

namespace quorivex::fuzz {
namespace {

std::string bytes_of(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

class KeptInputs : public testing::TestWithParam<Target> {};

// Some of them once crashed a reader, made it ask for gigabytes, or let an exception through.
TEST_P(KeptInputs, EndWithTheSameResultOrMessageTwiceAndInLittleMemory) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(
           std::filesystem::path(QUORIVEX_CORPORA) / GetParam().name)) {
    SCOPED_TRACE(entry.path());
    const std::string bytes = bytes_of(entry.path());
    const MemoryLimit limit(bytes.size());
    std::string first;
    ASSERT_NO_THROW(first = GetParam().read(bytes));
    EXPECT_TRUE(first == GetParam().read(bytes));
    ++files;
  }
  EXPECT_GT(files, 0);
}

INSTANTIATE_TEST_SUITE_P(Of, KeptInputs, testing::ValuesIn(all_targets()),
                         [](const auto& target) { return std::string(target.param.name); });

}  // namespace
}  // namespace quorivex::fuzz
