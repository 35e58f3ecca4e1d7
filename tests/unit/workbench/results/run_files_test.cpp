// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "workbench/results/run_log.h"
#include "workbench/results/run_summary.h"

namespace quorivex::test {
namespace {

const std::string kDashes(64, '-');

std::string log_with(const std::string& copy, const std::string& rest) {
  return "\nReading input file: run.inp\n\n" + kDashes + "\n\n" + copy + "\n" + kDashes + "\n\n" +
         rest;
}

/// The log's copy and the input file itself must give the same entries, or a run is not recognised.
TEST(RunLog, EntriesOfTheCopyAreThoseOfTheInputFile) {
  const ScratchFolder folder;
  const std::string lines =
      "1   ! mode\n\n! a comment\n1.0 0.02\t\r\n" + std::string(300, 'n') + "\n";
  std::string many;
  for (int i = 0; i < 15; ++i) many += fmt::format("line {}\n", i);
  const std::vector<std::string> expected{"1", "1.0 0.02", std::string(200, 'n'), "line 0"};
  const std::vector<std::string> of_file = entry_lines(folder.write("run.inp", lines + many));
  ASSERT_EQ(of_file.size(), 12U);
  EXPECT_EQ(std::vector(of_file.begin(), of_file.begin() + 4), expected);
  const RunLog log = read_run_log(folder.write("run.log", log_with(lines + many, "")));
  EXPECT_EQ(log.input_lines, of_file);
  EXPECT_EQ(log.input_name, "run.inp");
  EXPECT_TRUE(entry_lines(folder.path("missing.inp")).empty());
}

/// Why a run ended is its last paragraph after the last iteration, and nothing while it goes on.
TEST(RunLog, TellsWhyARunEnded) {
  const ScratchFolder folder;
  const auto read = [&](const std::string& rest) {
    return read_run_log(folder.write("run.log", log_with("1\n", rest)));
  };
  const std::string begun =
      "QUORIVEX started on: 11/21/2026  09:08:07\n\n   a warning before\n\n     initial misfit:  "
      "1.0\n"
      "          Iteration:   1\n               beta:  3.5E+04\n        data misfit:  9.9E+02\n"
      "      beta cpu time:   0:00:06.75\n\n";
  const RunLog running = read(begun);
  EXPECT_EQ(running.started, "11/21/2026  09:08:07");
  EXPECT_EQ(running.ended + running.ending, "");
  EXPECT_EQ(read(begun + "          Iteration:   2\n               be").ending, "");
  const RunLog ended = read(begun +
                            "   Target misfit reached.\n\n\n     TOTAL cpu time:   0:00:38.86\n\n"
                            "QUORIVEX ended on: 11/21/2026  09:08:46  \n\n");
  EXPECT_EQ(ended.ending, "Target misfit reached.");
  EXPECT_EQ(ended.ended, "11/21/2026  09:08:46");
  const RunLog stopped = read(begun + "first\n\n  ERROR: the disk\n  is full.\n");
  EXPECT_EQ(stopped.ending, "ERROR: the disk is full.");
  EXPECT_EQ(stopped.ended, "");
  EXPECT_LE(read(begun + std::string(100'000, 'x') + "\n").ending.size(), 2000U);
}

TEST(RunLog, WithoutACopyOfTheInputFileIsRefused) {
  const ScratchFolder folder;
  for (const std::string& text : {std::string(), std::string(5000, '\0'), std::string("\n\n")}) {
    EXPECT_THROW(read_run_log(folder.write("run.log", text)), StopRun);
  }
  EXPECT_THROW(read_run_log(folder.path("missing.log")), StopRun);
}

const char* const kHeading =
    "! QUORIVEX started on: 11/22/2026  01:44:02\n\n!    1  1.0000   !! mode, chifact\n"
    "!   5.0E-03   !! initial norm S\n!   2.0E-04   !! initial norm E\n"
    "!   3.0E-04   !! initial norm N\n!   6.0E-03   !! initial norm Z\n"
    "!   1.1E-02   !! initial norm total\n!   2.8E+05   !! initial misfit\n\n! iter  beta\n";
const char* const kFirst =
    "     1  1.5E+06  8.3E+04  1E-02  2E-02  3E-02  4E-02  5E-02  1.2E+05  45  29117\n";
const char* const kSecond =
    "     2  9.5E+05  3.4E+04  1E-02  2E-02  3E-02  4E-02  5E-02  8.1E+04  34  27620\n";

TEST(RunSummary, EachFigureGoesToItsPlace) {
  const ScratchFolder folder;
  const RunSummary found =
      read_run_summary(folder.write("run.out", std::string(kHeading) + kFirst + kSecond));
  EXPECT_EQ(found.started, "11/22/2026  01:44:02");
  const NormTerms& norm = found.initial_norm;
  EXPECT_EQ((std::vector{norm.s, norm.e, norm.n, norm.z, norm.total, found.initial_misfit}),
            (std::vector{5e-3, 2e-4, 3e-4, 6e-3, 1.1e-2, 2.8e5}));
  ASSERT_EQ(found.rows.size(), 2U);
  EXPECT_EQ(found.rows[1].cg_iterations, 34);
  EXPECT_EQ(found.rows[1].cells_on_bound, 27620);
  EXPECT_EQ(found.note, "");
}

/// Rows before the fault are kept; a wrong row is named by line and by the iteration it should
/// hold.
TEST(RunSummary, KeepsTheRowsBeforeADamagedOne) {
  const ScratchFolder folder;
  const std::string second = kSecond;
  const auto without = [&](const std::string& text) {
    std::string changed = second;
    return changed.replace(changed.find(text), text.size(), "");
  };
  std::string nan = second;
  nan.replace(nan.find("3.4E+04"), 7, "    NaN");
  std::string stars = second;
  stars.replace(stars.find("27620"), 5, "*****");
  for (const std::string& damaged :
       {without("  27620"), without("34  "), nan, stars, std::string(kFirst),
        std::string("3") + kSecond, std::string(40, '\0') + "\n", std::string("     2  9.5E")}) {
    const std::string text = fmt::format("{}{}{}\n{}", kHeading, kFirst, damaged, second);
    const RunSummary found = read_run_summary(folder.write("run.out", text));
    EXPECT_EQ(found.rows.size(), 1U) << damaged;
    EXPECT_NE(found.note.find("line 13 of "), std::string::npos) << found.note;
    EXPECT_NE(found.note.find("the row of iteration 2"), std::string::npos) << found.note;
  }
}

TEST(RunSummary, AnEmptyFileIsARunThatHasJustBegunAndAnyOtherTextIsNone) {
  const ScratchFolder folder;
  EXPECT_TRUE(read_run_summary(folder.write("run.out", "\n\n")).rows.empty());
  EXPECT_THROW(read_run_summary(folder.write("run.out", kFirst)), StopRun);
  EXPECT_THROW(read_run_summary(folder.write("run.out", "a letter\n")), StopRun);
  EXPECT_THROW(read_run_summary(folder.path("missing.out")), StopRun);
}

}  // namespace
}  // namespace quorivex::test
