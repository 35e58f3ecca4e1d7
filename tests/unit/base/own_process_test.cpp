// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cstdlib>

#include "base/isolated.h"
#include "base/library_files.h"
#include "base/stop_run.h"
#include "scratch_folder.h"

namespace quorivex::test {
namespace {

// Both processes would wait for ever: for bytes to be taken, and for the end of the other.
TEST(OwnProcess, EndsWhenNobodyTakesItsBytes) {
  const auto make = [](const TakeBytes& write) { write(std::string(std::size_t{1} << 20, 'x')); };
  EXPECT_THROW(in_own_process(make, [](std::string_view) { stop_run("the disk is full"); }),
               StopRun);
}

// A file cut short by another one's failure, or one of the wrong name.
TEST(LibraryFiles, AreWholeOrNotThere) {
  const ScratchFolder folder;
  const std::string bytes(200'000, 'x');  // more than a pipe holds
  const auto make = [&](std::size_t n) { return bytes + std::to_string(n); };
  const std::vector<std::string> names{folder.path("a"), folder.path("no/b"), folder.path("c")};
  EXPECT_THROW(write_library_files(names, make, "it", 5), StopRun);
  EXPECT_EQ(folder.read("a"), bytes + "0");
  EXPECT_FALSE(folder.has("c") || folder.has_leftovers());
  const auto crash = [&](std::size_t n) {
    if (n == 1) std::abort();
    return make(n);
  };
  EXPECT_THROW(write_library_files({names[2], folder.path("d")}, crash, "it", 5), StopRun);
  EXPECT_EQ(folder.read("c"), bytes + "0");
  const auto missing = [](std::size_t) { return std::string(); };
  EXPECT_FALSE(write_library_files({folder.path("d")}, missing, "it", 5));
  EXPECT_FALSE(folder.has("d") || folder.has_leftovers());
}

}  // namespace
}  // namespace quorivex::test
