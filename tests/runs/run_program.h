// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "scratch_folder.h"
#include "survey.h"

namespace quorivex::test {

/// Runs the program in a folder and returns its console text. Standard error goes there too, so
/// that a sanitizer's report is seen. A crash, a hang and an exit status other than 0 are failures.
/// `before` is a shell command that prepares the process, such as a memory limit.
inline std::string run_program(const ScratchFolder& folder, const std::string& arguments,
                               const std::string& before = "true") {
  const std::string command = "cd '" + folder.path("") + "' && " + before +
                              " && timeout -k 5 120 '" QUORIVEX_PROGRAM "' " + arguments +
                              " > console.txt 2>&1 < /dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0) << folder.read("console.txt");
  return folder.read("console.txt");
}

/// The names of the numbered models and predicted data in a folder, temporary files included.
inline std::set<std::string> result_files(const ScratchFolder& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with("quorivex_")) names.insert(name);
  }
  return names;
}

/// The twelve lines of an input file, by their number.
using InputLines = std::map<int, std::string>;

/// Writes sens.mtx, obs.dat and run.inp; `lines` replace those of the default input file.
inline void write_case(const ScratchFolder& folder, const Survey& survey, InputLines lines) {
  folder.write("sens.mtx", framed(sensitivity_records(survey)));
  folder.write("obs.dat", observations_text(survey));
  lines.merge(InputLines{{1, "1"},
                         {2, "1 0"},
                         {3, "obs.dat"},
                         {4, "sens.mtx"},
                         {5, "VALUE 0.001"},
                         {6, "VALUE 0.0"},
                         {7, "null"},
                         {8, "VALUE 0.0"},
                         {9, "VALUE 1.0"},
                         {10, "null"},
                         {11, "SMOOTH_MOD"},
                         {12, "null"}});
  std::string text;
  for (const auto& [number, line] : lines) text += line + "\n";
  folder.write("run.inp", text);
}

}  // namespace quorivex::test
