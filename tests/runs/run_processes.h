// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <fmt/format.h>

#include <string>

#include "run_qvx.h"

namespace quorivex::test {

/// A program with so many processes, each of which runs `before` in its shell, where $rank is its
/// number. A hang ends with a status of 124.
inline QvxRun run_processes(const char* program, const ScratchFolder& folder, int processes,
                            const std::string& arguments, const std::string& before = "true") {
  folder.write("process.sh",
               fmt::format("rank=${{OMPI_COMM_WORLD_RANK:-$PMI_RANK}}\n{}\nexec '{}' \"$@\"\n",
                           before, program));
  const std::string command =
      fmt::format("cd '{}' && timeout -k 5 60 " QUORIVEX_MPIEXEC
                  " -n {} sh \"$PWD/process.sh\" {} > out.txt 2> err.txt < /dev/null",
                  folder.path(""), processes, arguments);
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read("out.txt"),
          folder.read("err.txt")};
}

inline int occurrences(const std::string& text, const std::string& of) {
  int count = 0;
  for (std::size_t at = text.find(of); at != std::string::npos; at = text.find(of, at + 1)) ++count;
  return count;
}

}  // namespace quorivex::test
