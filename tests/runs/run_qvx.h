// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "scratch_folder.h"

namespace quorivex::test {

#ifdef QUORIVEX_NO_GDAL
inline constexpr bool kReadsGrids = false;
#else
inline constexpr bool kReadsGrids = true;
#endif
#ifdef QUORIVEX_NO_CAIRO
inline constexpr bool kDraws = false;
#else
inline constexpr bool kDraws = true;
#endif

struct QvxRun {
  int status = -1;  ///< exit status; -1 after a signal
  std::string out;
  std::string err;
};

/// Runs qvx in a folder; `before` is a command of the shell that starts it.
inline QvxRun run_qvx(const ScratchFolder& folder, const std::string& arguments,
                      const std::string& before = "true") {
  const std::string command = "cd '" + folder.path("") + "' && " + before +
                              " && timeout -k 5 120 '" QVX_PROGRAM "' " + arguments +
                              " > out.txt 2> err.txt < /dev/null";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("out.txt"),
          folder.read("err.txt")};
}

/// The run fails with status 1 and says why on standard error.
inline void expect_refused(const ScratchFolder& folder, const std::string& arguments,
                           const std::string& message) {
  const QvxRun run = run_qvx(folder, arguments);
  EXPECT_EQ(run.status, 1) << arguments;
  EXPECT_NE(run.err.find(message), std::string::npos) << arguments << "\n" << run.err;
}

}  // namespace quorivex::test
