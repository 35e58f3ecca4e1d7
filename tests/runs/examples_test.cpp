// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdio>
#include <filesystem>

#include "run_qvx.h"

namespace quorivex::test {
namespace {

/// The mean error of the depth of the top that examples/drilled prints for one of its runs.
double error_of_top(const std::string& text, const std::string& run) {
  double depth = 0.0;
  double error = 0.0;
  const std::size_t at = text.find("\n" + run + " ");
  EXPECT_NE(at, std::string::npos) << text;
  if (at == std::string::npos) return error;
  EXPECT_EQ(std::sscanf(text.c_str() + at + 1 + run.size(),
                        " mean depth of the top %lf m, mean error %lf", &depth, &error),
            2);
  return error;
}

// Intervals in other cells than those of the hole, a sign of the dip, bounds that no run reads.
TEST(Examples, BoundsFromDrillHolesHalveTheErrorOfTheTop) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "it takes minutes";
#endif
  const ScratchFolder folder;
  std::filesystem::copy(QUORIVEX_EXAMPLES "/drilled", folder.path("drilled"));
  const std::string programs = std::filesystem::path(QVX_PROGRAM).parent_path();
  const std::string command = "cd '" + folder.path("drilled") + "' && PATH='" + programs +
                              "':\"$PATH\" ./run.sh > ../out.txt 2>&1 < /dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0) << folder.read("out.txt");
  const std::string out = folder.read("out.txt");
  EXPECT_LT(2.0 * error_of_top(out, "drilled"), error_of_top(out, "free")) << out;
  EXPECT_GT(error_of_top(out, "drilled"), 0.0);
}

}  // namespace
}  // namespace quorivex::test
