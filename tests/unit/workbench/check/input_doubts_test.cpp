// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "scratch_folder.h"
#include "workbench/check/input_lines.h"
#include "workbench/check/observation_notes.h"

namespace quorivex::test {
namespace {

/// The doubts about a good input file of which one line is replaced.
std::vector<std::string> doubts(std::size_t line, const std::string& text) {
  const ScratchFolder folder;
  std::vector<std::string> lines{"1 ! mode 1 2", "1.0,0.02 ! 3 4", "a,5 5,b",    "s.mtx",
                                 "VALUE 0.001",  "VALUE 0",        "null",       "VALUE 0 ! 0,1",
                                 "3,5 4,5.sus",  "200 200 100",    "SMOOTH_MOD", "null"};
  lines[line - 1] = text;
  std::string file = "\n";
  for (const std::string& entry : lines) file += entry + "\n";
  return input_line_doubts(folder.write("run.inp", file));
}

TEST(InputLines, NumbersThatAreNotReadAreTold) {
  EXPECT_TRUE(doubts(1, "1").empty());
  for (const auto& [line, text, said] :
       {std::tuple{1U, "1 2",
                   "line 1 of the input file, '1 2', holds 2 numbers, of which 1 is read: 1"},
        {2U, "1,0 0,02 ! chifact", "holds 4 numbers, of which 2 are read: 1, 0.\nA comma"},
        {5U, "VALUE 0,001", "'0,001', holds 2 numbers, of which 1 is read: 0.\nA comma"},
        {9U, "VALUE 1 2", "line 9"},
        {10U, "200,5 200 100", "of which 4 are read: 200, 5, 200, 100.\nA comma"},
        {10U, "1 1 1 1 1", "5 numbers, of which 4"},
        {10U, "99999999999*1", "of which 4"}}) {
    const std::vector<std::string> found = doubts(line, text);
    ASSERT_EQ(found.size(), 1U) << text;
    EXPECT_NE(found.front().find(said), std::string::npos) << found.front();
  }
  for (const auto& [line, text] :
       {std::pair{2U, "1 0.02 see 3,5"}, {10U, "null 1 2 3 4 5"}, {10U, "1 1 1 1"}})
    EXPECT_TRUE(doubts(line, text).empty()) << text;
}

TEST(ObservationNotes, RowsThatFollowRepeatedPlacesAndDecimalCommas) {
  const ScratchFolder folder;
  const auto notes = [&](const std::string& rows) {
    const std::string name = folder.write("o.mag", "! head\n60 0 50000\n60 0 1\n2\n" + rows);
    return observation_notes(name, read_data_file(name, DataColumns::as_found));
  };
  ObservationNotes found = notes("1 2 3 5 1\n1 2 3.1 5 1 ! 7,5\n\n! 1 2 3 5 1\n");
  EXPECT_TRUE(found.notes.empty() && found.warnings.empty());
  found = notes("1,0 2,5 3 5 1\n! between\n1,0 2,5 7 5 1\n9 9 9 9 9\n8 8 8 8 8");
  ASSERT_EQ(found.notes.size(), 2U);
  EXPECT_NE(found.notes[0].find("2 more rows follow in"), std::string::npos);
  EXPECT_NE(found.notes[1].find("1 of 2 data stand"), std::string::npos);
  ASSERT_EQ(found.warnings.size(), 1U);
  EXPECT_NE(found.warnings[0].find("line 5 of"), std::string::npos) << found.warnings[0];
}

}  // namespace
}  // namespace quorivex::test
