// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include "run_program.h"
#include "run_qvx.h"

namespace quorivex::test {
namespace {

/// Observations and the sensitivity file of thirty stations above a mesh.
class InputFolder : public ScratchFolder {
 public:
  InputFolder() {
    write("mesh.txt", "8 7 4\n-100 -75 50\n8*25\n7*25\n2*10 2*20\n");
    std::string text = "60 15 50000\n60 15 1\n30\n";
    for (int i = 0; i < 30; ++i) {
      text += fmt::format("{} {} 65 {} 2\n", -61 + 25 * (i % 6), -52 + 25 * (i / 6),
                          i == 14 ? 40 : i % 3);
    }
    write("my survey.mag", text);
    const QvxRun run = run_qvx(
        *this, "sensitivity --threads 1 --mesh mesh.txt --data 'my survey.mag' --output s.mtx");
    EXPECT_EQ(run.status, 0) << run.err;
  }
};

constexpr const char* kFiles = "input --data 'my survey.mag' --matrix s.mtx ";

TEST(QvxInput, WhatItWritesPassesTheCheckAndRuns) {
  const InputFolder folder;
  const QvxRun run = run_qvx(folder, std::string(kFiles) + "--output run.inp");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("made for these stations, directions and deviations"), std::string::npos);
  EXPECT_TRUE(run.out.ends_with("Next:\n  qvx check run.inp\n  quorivex run.inp\n")) << run.out;
  EXPECT_NE(folder.read("run.inp").find("\n50 50 25 "), std::string::npos);
  const QvxRun check = run_qvx(folder, "check --threads 1 run.inp");
  EXPECT_EQ(check.status, 0) << check.out;
  EXPECT_NE(run_program(folder, "run.inp 1").find("Target misfit reached."), std::string::npos);
}

// Of what is read from the files but not used, every command speaks.
TEST(QvxInput, CommandsTellRowsThatFollowAndPlacesThatReturn) {
  const InputFolder folder;
  std::string text = folder.read("my survey.mag");
  text += "0 0 65 1 1\n0 0 65 1 1\n";
  folder.write("more.mag", text);
  ASSERT_EQ(run_qvx(folder, "input --data more.mag --matrix s.mtx --output run.inp").status, 0);
  for (const char* command :
       {"mesh --output m.txt --data more.mag", "sensitivity --mesh mesh.txt --plan --data more.mag",
        "check run.inp",
        "forward --matrix s.mtx --model none.sus --output f.mag --data more.mag"}) {
    const QvxRun run = run_qvx(folder, command);
    EXPECT_NE((run.out + run.err).find("ote: 2 more rows follow in more.mag after the 30 data"),
              std::string::npos)
        << command << "\n"
        << run.out << run.err;
  }
  folder.write("std.mag", "60 15 50000\n60 15 1\n1\n0 0 65 1 0\n");
  expect_refused(folder, "sensitivity --mesh mesh.txt --plan --data std.mag",
                 "\nLine 4 of std.mag.");
}

TEST(QvxInput, NothingIsReplacedAndWhatDoesNotFitIsRefused) {
  const InputFolder folder;
  const std::string to = std::string(kFiles) + "--output new.inp ";
  folder.write("old.inp", "mine");
  folder.write("29.mag", "60 15 50000\n60 15 1\n1\n0 0 65 1 1\n");
  expect_refused(folder, std::string(kFiles) + "--output old.inp", "exists already");
  EXPECT_EQ(folder.read("old.inp"), "mine");
  for (const auto& [options, message] :
       {std::pair{"--initial none.sus", "none.sus is neither a number"},
        {"--lower 0,001", "0,001 is neither a number"},
        {"--active none.txt", "file not found: none.txt"},
        {"--mode 2", "--mode 2 needs --beta"},
        {"--mode 1 --beta 3", "--beta belongs to --mode 2"},
        {"--mode 2 --chifact 1", "--chifact belongs to --mode 1"},
        {"--initial 2", "should lie within the bounds"},
        {"--lengths 0,0,0", "length scales cannot be all equal to 0"},
        {"--lengths 1,2", "--lengths"}}) {
    expect_refused(folder, to + options, message);
  }
  expect_refused(folder, "input --data 29.mag --matrix s.mtx --output new.inp",
                 "29.mag holds 1 data, but s.mtx was made for 30");
  expect_refused(folder, "input --data 29.mag --matrix 29.mag --output new.inp",
                 "29.mag is not a sensitivity file");
  EXPECT_FALSE(folder.has("new.inp"));
}

}  // namespace
}  // namespace quorivex::test
