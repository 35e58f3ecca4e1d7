// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/finished_run.h"

#include <fmt/format.h>

#include <cmath>
#include <sstream>

#include "base/stop_run.h"
#include "compressed.h"
#include "run_program.h"
#include "values.h"
#include "workbench/results/iteration_files.h"

namespace quorivex::test {
namespace {

/// A folder in which quorivex has finished run.inp.
class RunFolder : public ScratchFolder {
 public:
  explicit RunFolder(const InputLines& lines = {}) {
    write_case(*this, survey, lines);
    run_program(*this, "run.inp 1");
    std::istringstream summary(read("quorivex.out"));
    for (std::string line; std::getline(summary, line);) {
      if (!line.empty() && line.front() != '!') rows.push_back(numbers(line));
    }
  }

  FinishedRun finished() const { return read_finished_run(path("run.inp")); }
  void replace(const char* file, const std::string& from, const std::string& to) const {
    std::string text = read(file);
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    write(file, text.replace(at, from.size(), to));
  }
  void copy(const char* from, const char* to) const { write(to, read(from)); }

  Survey survey = make_survey({.ne = 7, .nn = 5, .nz = 4});
  std::vector<std::vector<double>> rows;
};

template <class Action>
void expect_stop(Action action, const std::string& text) {
  try {
    action();
    ADD_FAILURE() << "no end with " << text;
  } catch (const StopRun& stop) {
    EXPECT_NE(stop.console().find(text), std::string::npos) << text << "\n" << stop.console();
  }
}

TEST(FinishedRun, HoldsWhatTheRunReadAndLeft) {
  const RunFolder folder;
  const FinishedRun run = folder.finished();
  EXPECT_EQ(run.parameters.obsFile, "obs.dat");
  EXPECT_EQ(run.ground->mesh.easting_nodes, folder.survey.mesh.easting_nodes);
  EXPECT_EQ(run.ground->mesh.z0, folder.survey.mesh.z0);
  EXPECT_EQ(run.ground->tops.tops, folder.survey.tops.tops);
  EXPECT_EQ(run.ground->cells(), folder.survey.nsens());
  EXPECT_EQ(run.target, 35.0);
  EXPECT_EQ(run.ending, "Target misfit reached.");
  EXPECT_FALSE(run.started.empty() || run.ended.empty());
  EXPECT_EQ(run.alphas, (std::vector<double>{1e-4, 1.0, 1.0, 1.0}));
  EXPECT_TRUE(run.notes.empty());
  ASSERT_GE(run.iterations.size(), 3U);
  ASSERT_EQ(run.iterations.size(), folder.rows.size());
  for (std::size_t p = 0; p < run.iterations.size(); ++p) {
    const SummaryRow& row = run.iterations[p].row;
    EXPECT_EQ((std::vector<double>{static_cast<double>(row.iteration), row.beta, row.misfit,
                                   row.norm.s, row.norm.e, row.norm.n, row.norm.z, row.norm.total,
                                   row.objective, static_cast<double>(row.cg_iterations),
                                   static_cast<double>(row.cells_on_bound)}),
              folder.rows[p]);
  }
}

TEST(FinishedRun, ModelsAndDataAreThoseOfTheIterationAskedFor) {
  const RunFolder folder;
  const FinishedRun run = folder.finished();
  for (const std::int32_t number : {2, static_cast<std::int32_t>(run.iterations.size())}) {
    const FinishedIteration& iteration = find_iteration(run, number);
    const std::vector<double> model = read_model(run, iteration);
    const std::vector<double> expected =
        numbers(folder.read(fmt::format("quorivex_{:03}.sus", number)));
    ASSERT_EQ(model.size(), expected.size());
    for (std::size_t cell = 0; cell < model.size(); ++cell) {
      EXPECT_TRUE(expected[cell] == -100.0 ? std::isnan(model[cell])
                                           : model[cell] == expected[cell]);
    }
    const DataFit fit = data_fit(run.observations, read_predicted(run, iteration));
    double misfit = 0.0;
    for (std::size_t i = 0; i < fit.normalised.size(); ++i) {
      EXPECT_NEAR(fit.observed[i], folder.survey.observed[i], 1e-4);
      EXPECT_EQ(fit.residual[i], fit.observed[i] - fit.predicted[i]);
      misfit += fit.normalised[i] * fit.normalised[i];
    }
    EXPECT_NEAR(misfit / iteration.row.misfit, 1.0, 1e-4);
  }
  expect_stop([&] { find_iteration(run, 99); }, "has no iteration 99; its iterations are 1 to");
}

TEST(FinishedRun, MissingAndHalfWrittenIterationsAreLeftOutWithANote) {
  const RunFolder folder;
  const auto last = static_cast<int>(folder.rows.size());
  std::filesystem::remove(folder.path("quorivex_002.pre"));
  folder.write("quorivex.out", folder.read("quorivex.out") + "     9  1.0E+00\n");
  const FinishedRun run = folder.finished();
  EXPECT_EQ(run.iterations.size(), folder.rows.size() - 1);
  EXPECT_EQ(run.iterations_made, last);
  ASSERT_EQ(run.notes.size(), 2U);
  EXPECT_NE(run.notes[0].find(fmt::format("should be the row of iteration {}", last + 1)),
            std::string::npos);
  expect_stop([&] { find_iteration(run, 2); }, "quorivex_002.pre");
  const std::string model = folder.read("quorivex_001.sus");
  folder.write("quorivex_001.sus", model.substr(0, 500));
  expect_stop([&] { read_model(run, find_iteration(run, 1)); }, "end reached reading model file");
  folder.write("quorivex_001.sus", model + "0\n");
  expect_stop([&] { read_model(run, find_iteration(run, 1)); }, "too many values in model file");
}

// Files that look right but belong to something else.
TEST(FinishedRun, FilesOfAnotherRunAreRefused) {
  const RunFolder folder;
  const FinishedRun run = folder.finished();
  const FinishedIteration& last = run.iterations.back();
  const std::string predicted = fmt::format("quorivex_{:03}.pre", last.row.iteration);
  folder.copy("quorivex_001.pre", predicted.c_str());
  expect_stop([&] { read_predicted(run, last); }, "but the run states");
  FinishedRun moved = run;
  moved.observations.y[4] += 0.001;
  expect_stop([&] { read_predicted(moved, run.iterations.front()); }, "ERROR: datum 5 is at");
  FinishedRun turned = run;
  turned.observations.decl += 0.02;
  expect_stop([&] { read_predicted(turned, run.iterations.front()); },
              "is not that of the observations");

  Survey lower = folder.survey;
  lower.tops.tops[3] += 1;
  folder.write("sens.mtx", framed(sensitivity_records(lower)));
  expect_stop([&] { folder.finished(); }, "cells lie below the column tops");
  lower.tops.tops[3] -= 1;
  std::swap(lower.tops.tops.front(), lower.tops.tops[1]);
  folder.write("sens.mtx", framed(sensitivity_records(lower)));
  const FinishedRun other = folder.finished();
  expect_stop([&] { read_model(other, other.iterations.front()); }, "are of different runs");

  folder.replace("quorivex.out", "started on: ", "started on: 1");
  expect_stop([&] { folder.finished(); }, "is of the run that started on 1");
  folder.replace("run.inp", "VALUE 0.001", "VALUE 0.002");
  expect_stop([&] { folder.finished(); }, "is the log of a run of run.inp, whose lines");
  std::filesystem::remove(folder.path("quorivex.log"));
  expect_stop([&] { folder.finished(); }, "Run quorivex " + folder.path("run.inp") + " first");
}

std::string values_text(std::int64_t count, double first, double step) {
  std::string text;
  for (std::int64_t i = 0; i < count; ++i) {
    text += fmt::format("{:.4g}\n", first + step * static_cast<double>(i % 7));
  }
  return text;
}

// Reference model, alphas, 3-D weights, active cells and bounds of a run have a share in the
// smallness by which a model is known, and no rightful model may be refused.
TEST(FinishedRun, AModelOfAnotherIterationIsRefusedAndNoOther) {
  const ScratchFolder inputs;
  const std::int64_t cells = 140;
  std::string active;
  for (int cell = 0; cell < cells; ++cell) active += cell % 9 == 5 ? "0\n" : "1\n";
  const std::string reference = inputs.write("ref.txt", values_text(cells, 0.0005, 0.002));
  const std::string weights =
      inputs.write("weights.txt", values_text(cells + 120 + 112 + 105, 0.5, 0.25));
  for (const InputLines& lines :
       {InputLines{}, InputLines{{6, "VALUE 0.004"}, {10, "60 80 40"}},
        InputLines{{6, reference}, {10, "0.002 2 1 3"}, {11, "SMOOTH_MOD_DIF"}},
        InputLines{{7, inputs.write("active.txt", active)}, {8, "VALUE -0.01"}, {12, weights}}}) {
    const RunFolder folder(lines);
    const FinishedRun run = folder.finished();
    ASSERT_GE(run.iterations.size(), 2U);
    for (const FinishedIteration& iteration : run.iterations)
      EXPECT_NO_THROW(read_model(run, iteration));
    const std::size_t last = run.iterations.size() - 1;
    const std::string model = fmt::format("quorivex_{:03}.sus", last + 1);
    const std::string own = folder.read(model);
    folder.copy(fmt::format("quorivex_{:03}.sus", last).c_str(), model.c_str());
    expect_stop([&] { read_model(run, run.iterations[last]); }, "of another iteration or run");
    folder.write(model, own);
    if (lines.contains(6) && lines.at(6) == reference) {
      std::filesystem::remove(reference);
      EXPECT_NO_THROW(read_model(run, run.iterations[last])) << "without its reference model";
    }
  }
}

// A run that goes on writes the row of an iteration before its files, and at first nothing at all.
TEST(FinishedRun, ARunThatGoesOnHasTheIterationsThatAreWritten) {
  const RunFolder folder;
  const std::string log = folder.read("quorivex.log");
  folder.write("quorivex.log", log.substr(0, log.rfind("beta cpu time:")));
  std::filesystem::remove(folder.path(fmt::format("quorivex_{:03}.sus", folder.rows.size())));
  const FinishedRun run = folder.finished();
  EXPECT_EQ(run.iterations_made, static_cast<int>(folder.rows.size()) - 1);
  EXPECT_EQ(run.iterations_made, run.iterations.back().row.iteration);
  for (const char* last : {"beta cpu time:", "Target misfit", "TOTAL", "QUORIVEX ended"}) {
    folder.write("quorivex.log", log.substr(0, log.rfind(last) + 5));
    const std::string ending = folder.finished().ending;
    EXPECT_TRUE(ending.empty() || ending == "Target misfit reached.") << last << ": " << ending;
  }
  folder.write("quorivex.out", "");
  expect_stop([&] { folder.finished(); }, "has left no iteration");
}

// Two folders with runs of input files of the same text: the log tells which file it was.
TEST(FinishedRun, OfTwoRunsOfTheSameTextThatOfTheFileCounts) {
  const RunFolder here;
  const RunFolder there({{2, "3 0"}});
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(here.path(""));
  const std::string own = here.read("run.inp");
  here.write("run.inp", there.read("run.inp"));
  run_program(here, "run.inp 1");
  EXPECT_EQ(read_finished_run(there.path("run.inp")).folder,
            std::filesystem::path(there.path("run.inp")).parent_path());
  EXPECT_EQ(read_finished_run("run.inp").folder, "");
  here.replace("quorivex.log", "input file: run.inp", "input file: " + there.path("run.inp"));
  EXPECT_EQ(read_finished_run(there.path("run.inp")).folder, "");
  here.write("quorivex.log", "");
  EXPECT_NE(read_finished_run(there.path("run.inp")).folder, "") << "a damaged log in the way";
  std::filesystem::current_path(before);
}

// A comment changes nothing; a mesh that cannot be drawn and a run that ended at once say so.
TEST(FinishedRun, OnlyWhatCountsDecides) {
  const RunFolder folder;
  folder.replace("run.inp", "obs.dat", "obs.dat   ! the survey of May");
  EXPECT_EQ(folder.finished().iterations.size(), folder.rows.size());
  Survey turned = folder.survey;
  std::swap(turned.mesh.depth_nodes[1], turned.mesh.depth_nodes[2]);
  folder.write("sens.mtx", framed(sensitivity_records(turned)));
  expect_stop([&] { folder.finished(); }, "the depth nodes of the mesh");

  const RunFolder early({{2, "1e9 0"}});
  expect_stop([&] { early.finished(); },
              "Its log ends with: Target misfit is too large to be meaningful.");
}

}  // namespace
}  // namespace quorivex::test
