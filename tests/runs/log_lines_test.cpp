// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "run_program.h"

namespace quorivex::test {
namespace {

// Texts that the console and the log of a run have to hold to the letter.

/// 2 x 2 columns of 3 cells, 7 of the 12 below the column tops, and 4 data.
const Survey& survey() {
  static const Survey small = make_survey({.ne = 2, .nn = 2, .nz = 3});
  return small;
}

/// The cells of the mesh in their order, true below the column tops.
std::vector<bool> ground_cells() {
  std::vector<bool> ground;
  for (std::int32_t j = 1; j <= survey().mesh.nn; ++j)
    for (std::int32_t i = 1; i <= survey().mesh.ne; ++i)
      for (std::int32_t k = 1; k <= survey().mesh.nz; ++k)
        ground.push_back(k > survey().tops(j, i));
  return ground;
}

/// A file of one value per cell: `air` above the column tops, `values` in turn below them.
std::string cell_file(const std::string& air, const std::vector<std::string>& values) {
  std::string text;
  std::size_t next = 0;
  for (const bool ground : ground_cells()) text += (ground ? values.at(next++) : air) + "\n";
  return text;
}

struct Texts {
  std::string console;
  std::string log;
};

/// Runs mode 2 with the changed lines of the input file and the files given by name.
Texts run(InputLines lines, const std::map<std::string, std::string>& files = {},
          const std::string& arguments = "run.inp", const std::string& before = "true") {
  const ScratchFolder folder;
  lines.insert({{1, "2"}, {2, "1e6 0"}});
  write_case(folder, survey(), lines);
  for (const auto& [name, text] : files) folder.write(name, text);
  const std::string console = run_program(folder, arguments, before);
  return {console, folder.read("quorivex.log")};
}

bool completed(const Texts& texts) {
  return texts.console.find("\n    Inversion completed.\n") != std::string::npos;
}

/// The text from `begin` up to `end`.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t at = text.find(begin);
  if (at == std::string::npos) return "no " + begin + " in\n" + text;
  return text.substr(at, text.find(end, at) - at);
}

TEST(LogLines, EverySourceAndCountOfAModelIsReported) {
  const Texts texts =
      run({{5, "initial.txt"}, {7, "active.txt"}, {9, "upper.txt"}, {10, "10 20 5"}},
          {{"initial.txt", cell_file("0", {"0", "0.5", "0.001", "0", "0.002", "9", "9"})},
           {"active.txt", cell_file("1", {"1", "1", "1", "1", "1", "0", "-1"})},
           {"upper.txt", cell_file("1", std::vector<std::string>(7, "0.5"))}});
  ASSERT_TRUE(completed(texts)) << texts.console;
  const std::string warning = "WARNING: number of cells in initial model touching bounds: 3\n";
  const std::string lengths =
      " length scales:\n"
      "Le, Ln, Lz:   1.0000E+01  2.0000E+01  5.0000E+00\n"
      " corresponding alpha values:\n"
      "alpha (s, e, n, z):   2.5000E-03  2.5000E-01  1.0000E+00  6.2500E-02\n";
  EXPECT_EQ(between(texts.log, "                   # of data:", "      init cpu"),
            "                   # of data:        4\n\n"
            "active cells were read from file: active.txt\n"
            "                   # of cells: 2 x 2 x 3\n"
            "             total # of cells:      12\n"
            "            # of active cells:       5\n"
            "        # of cells below topo:       7\n"
            "    # of inactive cells (inf):       1\n"
            "          # of inactive cells:       6\n\n"
            "   reference model was set to:  0.0000E+00\n"
            "      initial model was read from file: initial.txt\n"
            "      lower bounds was set to:  0.0000E+00\n"
            "       upper bounds was read from file: upper.txt\n" +
                warning + "\n" + lengths);
  EXPECT_EQ(between(texts.console, "WARNING: number", "      init cpu"), warning + lengths);
  EXPECT_NE(texts.log.find("\nReading input file: run.inp\n\n"), std::string::npos);
}

// Counts that are printed only where they tell something; alphas in the order given.
TEST(LogLines, APlainRunReportsNoMoreThanItHas) {
  const Texts texts = run({{10, "0.0001 2 0.5 4.5"}, {5, "VALUE 0.0015"}});
  EXPECT_EQ(between(texts.log, "                   # of cells:", "      init cpu"),
            "                   # of cells: 2 x 2 x 3\n"
            "             total # of cells:      12\n"
            "        # of cells below topo:       7\n"
            "          # of inactive cells:       5\n\n"
            "   reference model was set to:  0.0000E+00\n"
            "     initial model was set to:  1.5000E-03\n"
            "      lower bounds was set to:  0.0000E+00\n"
            "      upper bounds was set to:  1.0000E+00\n\n"
            " alpha values:\n"
            "alpha (s, e, n, z):   1.0000E-04  2.0000E+00  5.0000E-01  4.5000E+00\n"
            " corresponding length scales:\n"
            "Le, Ln, Lz:   1.4142E+02  7.0711E+01  2.1213E+02\n");
  EXPECT_EQ(texts.console.find("touching"), std::string::npos);
}

TEST(LogLines, ModelsOnOneBoundAreCountedOnceAndNotRefused) {
  for (const char* value : {"VALUE 0.0", "VALUE 1.0"}) {
    const Texts texts = run({{5, value}});
    EXPECT_NE(texts.console.find(" Start inversion ...\n"), std::string::npos) << texts.console;
    EXPECT_NE(texts.log.find("WARNING: number of cells in initial model touching bounds: 7\n"),
              std::string::npos)
        << texts.log;
  }
}

TEST(InputFile, NullIsAPrefixAndLongFieldsAreCut) {
  const Texts plain = run({});
  const auto results = [](const Texts& texts) {
    return between(texts.log, "alpha (s", "      init cpu") +
           between(texts.log, "     initial misfit: ", "     beta");
  };
  for (const auto& [line, text] :
       std::map<int, std::string>{{3, "obs.dat" + std::string(493, ' ') + "beyond"},
                                  {7, "nullify.txt"},
                                  {10, "NULL 9 9 9 9"},
                                  {11, "SMOOTH_MOD          beyond"},
                                  {12, "nullify.txt"}}) {
    const Texts texts = run({{line, text}});
    EXPECT_TRUE(completed(texts)) << line << texts.console;
    EXPECT_EQ(results(texts), results(plain)) << line;
  }
  const Texts upper = run({{12, "NULL " + std::string(300, '!')}});
  EXPECT_TRUE(completed(upper)) << upper.console;
  EXPECT_NE(upper.log.find("\nNULL " + std::string(195, '!') + "\n"), std::string::npos)
      << "the echo is cut at 200 characters\n"
      << upper.log;
}

TEST(CommandLine, OnlyTheSecondOfTwoArgumentsIsANumberOfThreads) {
  const std::string report = "\nParallelized with OpenMP.  # of threads:";
  for (const auto& [arguments, threads] : std::map<std::string, std::string>{
           {"run.inp", "  3\n"}, {"run.inp 2", "  2\n"}, {"run.inp 2 more", "  3\n"}}) {
    const Texts texts = run({}, {}, arguments, "export OMP_NUM_THREADS=3");
    EXPECT_TRUE(texts.console.starts_with(report + threads)) << arguments << texts.console;
    EXPECT_TRUE(texts.log.starts_with(report + threads)) << arguments << texts.log;
  }
}

// A mark that editors put at the head of a text file is no part of it.
TEST(InputFile, AByteOrderMarkIsIgnoredInEveryTextFile) {
  const std::string mark = "\xEF\xBB\xBF";
  const ScratchFolder folder;
  write_case(folder, survey(), {{1, mark + "2"}, {2, "1e6 0"}, {5, "m"}, {7, "a"}, {12, "w"}});
  folder.write("obs.dat", mark + folder.read("obs.dat"));
  folder.write("m", mark + cell_file("0.001", std::vector<std::string>(7, "1.0-3")));
  folder.write("a", mark + "12*1");
  folder.write("w", mark + "32*1");
  EXPECT_NE(run_program(folder, "run.inp").find("\n    Inversion completed.\n"), std::string::npos)
      << folder.read("console.txt");
}

}  // namespace
}  // namespace quorivex::test
