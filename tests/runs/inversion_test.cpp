// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <sstream>

#include "compressed.h"
#include "run_program.h"
#include "values.h"

namespace quorivex::test {
namespace {

std::string numbered(std::size_t iteration, const char* extension) {
  return fmt::format("quorivex_{:03}.{}", iteration, extension);
}

// Columns of the summary table, from 0.
enum Column { kNumber, kBeta, kMisfit, kNorm = 7, kPhi, kCgIterations, kColumns = 11 };
using Rows = std::vector<std::vector<double>>;

/// Runs to the end and returns the summary; there are two files per iteration and no other. A
/// matrix takes the place of the survey's own.
Rows invert(const ScratchFolder& folder, const Survey& survey, const InputLines& changed,
            const std::string& reason, const std::string& threads = "1",
            const std::string& matrix = "") {
  write_case(folder, survey, changed);
  if (!matrix.empty()) folder.write("sens.mtx", matrix);
  const std::string console = run_program(folder, "run.inp " + threads);
  EXPECT_NE(console.find("\n\n   " + reason + "\n\n\n    Inversion completed.\n"),
            std::string::npos)
      << console;
  EXPECT_EQ(console.find("WARNING: no compression is used") != std::string::npos, matrix.empty());
  Rows rows;
  std::set<std::string> files;
  std::istringstream summary(folder.read("quorivex.out"));
  for (std::string line; std::getline(summary, line);) {
    if (line.empty() || line.front() == '!') continue;
    rows.push_back(numbers(line));
    EXPECT_EQ(rows.back().size(), kColumns) << line;
    EXPECT_EQ(rows.back()[kNumber], static_cast<double>(rows.size()));
    files.insert({numbered(rows.size(), "pre"), numbered(rows.size(), "sus")});
  }
  EXPECT_GE(rows.size(), 3U);
  EXPECT_EQ(result_files(folder), files);
  return rows;
}

const std::string kPlateau = "Objective function has plateaued.";

/// Centre of the susceptibility below the surface, in cells: depth, easting, northing. The air
/// cells hold `air`, the others something from 0 to `upper`.
std::array<double, 3> centre(const Survey& survey, const std::vector<double>& model, double air,
                             double upper) {
  std::array<double, 4> sum{};
  int cell = 0;
  for (const double value : model) {
    const int k = cell % survey.mesh.nz;
    const int i = cell / survey.mesh.nz % survey.mesh.ne;
    const int j = cell / survey.mesh.nz / survey.mesh.ne;
    ++cell;
    const bool ground = k >= survey.tops(j + 1, i + 1);
    EXPECT_TRUE(ground ? value >= 0.0 && value <= upper : value == air) << value;
    const std::array<int, 4> terms{k, i, j, 1};
    for (std::size_t at = 0; ground && at < terms.size(); ++at) sum[at] += value * terms[at];
  }
  return {sum[0] / sum[3], sum[1] / sum[3], sum[2] / sum[3]};
}

TEST(Inversion, ABuriedBlockComesBackWhereItIsAndEveryIterationFitsItsFiles) {
  const Survey survey = make_survey({.ne = 12, .nn = 10, .nz = 8});
  const ScratchFolder folder;
  // The bound is below what an inversion without it gives the block.
  const Rows rows = invert(folder, survey, {{9, "VALUE 0.03"}}, "Target misfit reached.");
  const std::vector<double> model = numbers(folder.read(numbered(rows.size(), "sus")));
  ASSERT_EQ(model.size(), survey.true_model.size());
  const auto found = centre(survey, model, -100.0, 0.03);
  const auto truth = centre(survey, survey.true_model, 0.0, 0.05);
  for (std::size_t axis = 0; axis < 3; ++axis)  // an index that is off by one moves it by a cell
    EXPECT_NEAR(found[axis], truth[axis], 0.5) << "axis " << axis;

  EXPECT_NEAR(rows[1][kBeta], 0.5 * rows[0][kBeta], 1e-6 * rows[0][kBeta]);
  for (std::size_t at = 0; at < rows.size(); ++at) {
    SCOPED_TRACE(at + 1);
    const auto& row = rows[at];
    EXPECT_EQ(row[kMisfit] <= 1.05 * survey.ndata(), at + 1 == rows.size());
    EXPECT_NEAR(row[kMisfit] + row[kBeta] * row[kNorm], row[kPhi], 3e-6 * row[kPhi]);
    const std::string text = folder.read(numbered(at + 1, "pre"));
    const auto predicted = numbers(text.substr(text.find("data\n") + 5));
    ASSERT_EQ(predicted.size(), 4 * survey.x.size());
    double misfit = 0.0;
    for (std::size_t i = 0; i < survey.x.size(); ++i)
      misfit += std::pow((predicted[4 * i + 3] - survey.observed[i]) / survey.std[i], 2);
    EXPECT_NEAR(misfit, row[kMisfit], 1e-4 * misfit);
  }
}

#ifdef QUORIVEX_SANITIZED  // slow, and what sanitizers look for needs no comparison of all numbers
constexpr std::array kThreads{"2", "4"};
#else
constexpr std::array kThreads{"1", "2", "3", "4"};
#endif

/// The same files at any of the numbers of threads. Returns the summary.
Rows invert_at_any_number_of_threads(const Survey& survey, const InputLines& changed,
                                     const std::string& matrix) {
  const ScratchFolder first;
  Rows rows = invert(first, survey, changed, kPlateau, kThreads.front(), matrix);
  for (std::size_t at = 1; at < kThreads.size(); ++at) {
    const std::string threads = kThreads[at];
    const ScratchFolder folder;
    EXPECT_EQ(invert(folder, survey, changed, kPlateau, threads, matrix).size(), rows.size());
    for (const std::string& name : result_files(first))
      EXPECT_TRUE(folder.read(name) == first.read(name)) << name << ", " << threads << " threads";
  }
  return rows;
}

// A sum that is cut among the threads by their number.
TEST(Inversion, AFixedMultiplierEndsOnAPlateauAndEveryBitComesBackAtAnyNumberOfThreads) {
  const InputLines fixed_beta{{1, "2"}, {2, "1000 0"}, {8, "VALUE -1"}};
  // Several slices of cells, rows that four do not divide, pieces of work for four threads.
  const Survey survey = make_survey({.ne = 10, .nn = 10, .nz = 170});
  ASSERT_GT(survey.nsens(), 16384);
  const Rows rows = invert_at_any_number_of_threads(survey, fixed_beta, "");
  for (std::size_t at = 2; at < rows.size(); ++at) {  // the test begins with the third iteration
    const double change = std::abs(rows[at - 1][kPhi] / rows[at][kPhi] - 1.0);
    EXPECT_EQ(change < 0.001, at + 1 == rows.size()) << "iteration " << at + 1 << ": " << change;
  }
  // Another tolerance or maximum of the conjugate gradients; compilers round differently.
  const std::array<double, 3> cg_iterations{16.0, 72.0, 88.0};
  for (std::size_t at = 0; at < cg_iterations.size(); ++at) {
    EXPECT_NEAR(rows[at][kCgIterations] / cg_iterations[at], 1.0, 0.1) << "iteration " << at + 1;
  }
  // A grid of 256 x 32 x 16 points, of which CALC_GV takes a half at a time; several batches of
  // rows of different lengths, unsorted.
  const Survey wide = make_survey({.ne = 17, .nn = 9, .nz = 130});
  const std::string matrix = framed(compressed_records(wide, 6, 0.02));
  invert_at_any_number_of_threads(wide, {{1, "2"}, {2, "1e5 0"}}, matrix);
}

// Any path of the run that still takes the matrix for a full one, or the grid for the mesh; axes
// of the grid exchanged.
TEST(Inversion, ACompressedFileWithAllCoefficientsGivesTheModelOfTheFullFile) {
  const Survey survey = make_survey({.ne = 3, .nn = 6, .nz = 9});
  const InputLines changed{{1, "2"}, {2, "1e4 0"}, {5, "VALUE 0.01"}, {9, "VALUE 0.03"}};
  const ScratchFolder full;
  const Rows rows = invert(full, survey, changed, kPlateau);
  const auto expected = numbers(full.read(numbered(rows.size(), "sus")));
  const ScratchFolder folder;
  const std::string matrix = framed(compressed_records(survey, 8));
  EXPECT_EQ(invert(folder, survey, changed, kPlateau, "2", matrix).size(), rows.size());
  const auto model = numbers(folder.read(numbered(rows.size(), "sus")));
  ASSERT_EQ(model.size(), expected.size());
  for (std::size_t cell = 0; cell < model.size(); ++cell)
    EXPECT_NEAR(model[cell], expected[cell], 1e-6) << "cell " << cell;
}

}  // namespace
}  // namespace quorivex::test
