// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <sstream>
#include <vector>

#include "run_program.h"
#include "run_qvx.h"
#include "values.h"

namespace quorivex::test {
namespace {

namespace fs = std::filesystem;

/// Iteration, beta, misfit and so on, of each row of a run's summary.
std::vector<std::vector<double>> rows(const ScratchFolder& folder, const std::string& in = "") {
  std::vector<std::vector<double>> found;
  std::istringstream summary(folder.read(in + "quorivex.out"));
  for (std::string line; std::getline(summary, line);) {
    if (!line.empty() && line.front() != '!') found.push_back(numbers(line));
  }
  return found;
}

/// A run that was interrupted after its third iteration.
void interrupt(const ScratchFolder& folder) {
  const std::string summary = folder.read("quorivex.out");
  folder.write("quorivex.out", summary.substr(0, summary.find("\n     4 ") + 1));
  const std::string log = folder.read("quorivex.log");
  folder.write("quorivex.log", log.substr(0, log.find("Iteration:   4")));
  for (const std::string& name : result_files(folder)) {
    if (name.substr(9, 3) > "003") fs::remove(folder.path(name));
  }
}

std::map<std::string, std::string> bytes_of(const ScratchFolder& folder) {
  std::map<std::string, std::string> bytes;
  for (const auto& entry : fs::directory_iterator(folder.path(""))) {
    const std::string name = entry.path().filename().string();
    if (entry.is_regular_file() && !name.ends_with(".txt")) bytes[name] = folder.read(name);
  }
  return bytes;
}

// The lower bound has more digits than a model file: cells on it are beyond it there.
TEST(QvxContinue, AContinuedRunReachesTheMisfitOfOneThatWasNotStopped) {
  const ScratchFolder folder;
  write_case(folder, make_survey({.ne = 7, .nn = 5, .nz = 4}), {{8, "VALUE 0.0005123452"}});
  run_program(folder, "run.inp 1");
  const std::vector<double> whole = rows(folder).back();
  interrupt(folder);
  const auto before = bytes_of(folder);
  ASSERT_NE(before.at("quorivex_003.sus").find("5.12345E-04"), std::string::npos);
  const QvxRun run = run_qvx(folder, "continue run.inp");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.err.find("was interrupted"), std::string::npos) << run.err;
  EXPECT_TRUE(
      run.out.ends_with("Next:\n  cd run_continued\n  qvx check run.inp\n  quorivex run.inp\n"));
  run_program(folder, "run.inp 1", "cd run_continued");
  const std::string summary = folder.read("run_continued/quorivex.out");
  EXPECT_NE(summary.find(fmt::format("{:.4E}   !! initial misfit", rows(folder).back()[2])),
            std::string::npos)
      << summary;
  const std::vector<double> continued = rows(folder, "run_continued/").back();
  EXPECT_LE(std::abs(continued[0] - whole[0]), 2);           // iterations
  EXPECT_LE(std::abs(continued[2] / whole[2] - 1.0), 0.05);  // misfit
  EXPECT_EQ(bytes_of(folder), before);
  EXPECT_EQ(run_qvx(folder, "continue run.inp --iteration 2").status, 0);
  EXPECT_TRUE(folder.has("run_continued_2/run_initial.sus"));
}

TEST(QvxContinue, LinesAreThoseOfTheRunAsSeenFromTheNewFolder) {
  const ScratchFolder folder;
  write_case(folder, make_survey({.ne = 7, .nn = 5, .nz = 4}),
             {{1, "2"},
              {2, "0 0"},
              {3, "obs.dat ! mine"},
              {4, folder.path("sens.mtx")},
              {8, "low.txt"},
              {11, "SMOOTH_MOD_DIF"}});
  std::string low;
  for (int cell = 0; cell < 7 * 5 * 4; ++cell) low += "-1\n";
  folder.write("low.txt", low);
  run_program(folder, "run.inp 1");
  ASSERT_EQ(run_qvx(folder, "continue run.inp --iteration 1 --output a/b/new.inp").status, 0);
  std::istringstream text(folder.read("a/b/new.inp"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line.substr(0, line.find_last_not_of(' ', line.find(" ! ")) + 1));
  }
  const std::string beta = lines.at(1).substr(0, lines[1].find(' '));
  EXPECT_EQ(std::stod(beta), rows(folder)[0][1]);
  lines.erase(lines.begin() + 1);
  EXPECT_EQ(lines,
            (std::vector<std::string>{"2", "../../obs.dat", folder.path("sens.mtx"),
                                      "new_initial.sus", "VALUE 0.0", "null", "../../low.txt",
                                      "VALUE 1.0", "null", "SMOOTH_MOD_DIF", "null"}));
  run_program(folder, "new.inp 1", "cd a/b");
  EXPECT_LE(std::abs(rows(folder, "a/b/").back()[8] / rows(folder).back()[8] - 1.0), 0.01);
}

TEST(QvxContinue, NothingIsLostAndWhatCannotGoOnIsRefused) {
  const ScratchFolder folder;
  write_case(folder, make_survey({.ne = 7, .nn = 5, .nz = 4}), {});
  expect_refused(folder, "continue run.inp", "no run of run.inp is here");
  run_program(folder, "run.inp 1");
  folder.write("mine_initial.sus", "mine");
  const auto before = bytes_of(folder);
  for (const auto& [options, message] :
       {std::pair{"", "has reached the target of chifact 1 already"},
        {"--iteration 99", "has no iteration 99"},
        {"--chifact 0.01 --output run.inp", "run.inp exists already"},
        {"--iteration 1 --output mine.inp", "mine_initial.sus exists already"},
        {"--iteration 1 --output new.inp", "this folder holds results of a run (quorivex.log and"},
        {"--iteration 1 --output new/", "should name a file"}}) {
    expect_refused(folder, std::string("continue run.inp ") + options, message);
  }
  EXPECT_EQ(bytes_of(folder), before);
  EXPECT_FALSE(folder.has("run_continued"));
}

}  // namespace
}  // namespace quorivex::test
