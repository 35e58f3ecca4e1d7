// SPDX-License-Identifier: GPL-3.0-or-later
// Inversions by quorivex-mpi with several processes, against those of quorivex.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <tuple>

#include "compressed.h"
#include "run_processes.h"
#include "run_program.h"
#include "values.h"

namespace quorivex::test {
namespace {

/// Console, log or summary without the report on threads, dates and times.
std::string lasting(const std::string& text) {
  const std::size_t begin = text.find("3-D inversion of magnetic surveys");
  std::istringstream lines(text.substr(begin == std::string::npos ? 0 : begin));
  std::string lasting;
  for (std::string line; std::getline(lines, line);) {
    const bool passing = line.find(" cpu time:") != std::string::npos ||
                         line.find("QUORIVEX ") != std::string::npos;  // started on, ended on
    if (!passing) lasting += line + "\n";
  }
  return lasting;
}

using Outcome = std::map<std::string, std::string>;

/// What a run has left, by the names of its files, and its console. The files are removed.
Outcome take_outcome(const ScratchFolder& folder, const std::string& console) {
  Outcome outcome{{"console", lasting(console)}};
  for (const auto& entry : std::filesystem::directory_iterator(folder.path(""))) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with("quorivex")) continue;
    const std::string text = folder.read(name);
    outcome[name] = name.starts_with("quorivex_") ? text : lasting(text);
    std::filesystem::remove(entry.path());
  }
  return outcome;
}

Outcome invert(const ScratchFolder& folder) {
  return take_outcome(folder, run_program(folder, "run.inp 1"));
}

Outcome invert_shared(const ScratchFolder& folder, int processes, const std::string& threads = "1",
                      const std::string& before = "true") {
  const QvxRun run =
      run_processes(QUORIVEX_MPI_PROGRAM, folder, processes, "run.inp " + threads, before);
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  return take_outcome(folder, run.out + run.err);
}

void expect_same(const Outcome& got, const Outcome& expected) {
  for (const auto& [name, text] : expected) {
    const std::string found = got.contains(name) ? got.at(name) : "missing";
    EXPECT_TRUE(found == text) << name << "\n" << found.substr(0, 4000);
  }
  EXPECT_EQ(got.size(), expected.size());
}

/// A list of numbers between two limits, or about them.
std::string list(std::int64_t count, double from, double to, std::uint64_t seed) {
  std::string text;
  for (const double value : values_of_seed(as_size(count), seed))
    text += fmt::format("{:.6f}\n", (from + to + value * (to - from)) / 2);
  return text;
}

/// The files of a case, by the lines of the input file that may name them.
const InputLines kFiles{{5, "initial"}, {6, "reference"}, {7, "codes"},
                        {8, "lower"},   {9, "upper"},     {12, "weights"}};

void write_files(const ScratchFolder& folder, const Mesh& mesh, int influence) {
  const std::int64_t cells = mesh.cells();
  const std::int64_t pairs = 3 * cells - std::int64_t{mesh.nn} * mesh.nz -
                             std::int64_t{mesh.ne} * mesh.nz - std::int64_t{mesh.nn} * mesh.ne;
  folder.write("initial", list(cells, 0.0, 0.005, 1));
  folder.write("reference", list(cells, -0.005, 0.005, 2));
  std::string codes;
  for (std::int64_t cell = 0; cell < cells; ++cell)
    codes += cell % 7 == 3 ? "0\n" : cell % 11 == 5 ? fmt::format("{}\n", influence) : "1\n";
  folder.write("codes", codes);
  folder.write("lower", list(cells, -0.01, 0.0, 3));
  folder.write("upper", list(cells, 0.01, 0.03, 4));
  folder.write("weights", list(cells + pairs, 0.2, 5.0, 5));
}

std::string matrix_of(const Survey& survey, std::size_t ncof, double cutoff = 0.0) {
  return framed(ncof == 0 ? sensitivity_records(survey) : compressed_records(survey, ncof, cutoff));
}

InputLines with_files(InputLines lines, const std::set<int>& numbers) {
  for (const int number : numbers) lines[number] = kFiles.at(number);
  return lines;
}

struct Case {
  Size size;
  std::size_t ncof;  ///< 0: full form
  int influence;     ///< code of some cells
  InputLines lines;
};

// Neighbour rows that are missing, stale or counted twice; sums that follow the processes; parts of
// files taken from another place; values of another cell.
TEST(SharedInversion, HasTheFilesOfOneProcessByteByByte) {
  const std::set<int> all{5, 6, 7, 8, 9, 12};
  for (const Case& c :
       {Case{{9, 13, 7}, 6, -1, with_files({{2, "1.5 0"}}, all)},
        {{7, 11, 6}, 0, 0, with_files({{1, "2"}, {2, "2e3 0"}, {11, "SMOOTH_MOD_DIF"}}, all)},
        {{5, 10, 9}, 4, 0, with_files({{1, "2"}, {2, "1e3 0"}, {11, "SMOOTH_MOD_DIF"}}, {6})},
        {{6, 9, 8}, 0, -1, with_files({{9, "VALUE 0.03"}, {10, "50 80 60"}}, {7})},
        {{8, 5, 6}, 0, 1, {{9, "VALUE 0.03"}}}}) {
    const ScratchFolder folder;
    const Survey survey = make_survey(c.size);
    write_case(folder, survey, c.lines);
    folder.write("sens.mtx", matrix_of(survey, c.ncof, 0.01));
    write_files(folder, survey.mesh, c.influence);
    const Outcome one = invert(folder);
    EXPECT_TRUE(one.contains("quorivex_003.sus")) << one.at("console");
    for (int processes = 1; processes <= 4; ++processes) {
      SCOPED_TRACE(fmt::format("{} rows, {} processes", c.size.nn, processes));
      expect_same(invert_shared(folder, processes, processes % 2 == 0 ? "1" : "2"), one);
    }
  }
}

// Processes without rows, columns, blocks or data of their own.
TEST(SharedInversion, GoesOnWhereSomeProcessesHaveNothing) {
  for (const std::size_t ncof : {0U, 4U}) {
    const ScratchFolder folder;
    const Survey survey = make_survey({.ne = 2, .nn = 3, .nz = 5});
    write_case(folder, survey, with_files({{1, "2"}, {2, "1e3 0"}}, {5, 6, 8, 9, 12}));
    folder.write("sens.mtx", matrix_of(survey, ncof));
    write_files(folder, survey.mesh, 1);
    const Outcome one = invert(folder);
    EXPECT_TRUE(one.contains("quorivex_003.sus")) << one.at("console");
    expect_same(invert_shared(folder, 7), one);
  }
}

TEST(SharedInversion, TakesTheFileThatOtherProcessesHaveBuilt) {
  const ScratchFolder folder;
  write_case(folder, make_survey({.ne = 8, .nn = 7, .nz = 5}), {{1, "2"}, {2, "1e4 0"}});
  folder.write("mesh.txt", "8 7 5\n1000 2000 300\n8*25\n7*25\n5*25\n");
  std::filesystem::remove(folder.path("sens.mtx"));
  const QvxRun build =
      run_processes(QVX_MPI_PROGRAM, folder, 3,
                    "sensitivity --mesh mesh.txt --data obs.dat --threads 1 --output sens.mtx");
  ASSERT_EQ(build.status, 0) << build.err;
  const Outcome one = invert(folder);
  EXPECT_TRUE(one.contains("quorivex_003.sus")) << one.at("console");
  expect_same(invert_shared(folder, 2), one);
}

/// A case of seven rows, of which three processes have two, two and three, and its matrix.
struct SevenRows : ScratchFolder {
  SevenRows(const InputLines& lines, std::size_t ncof)
      : survey(make_survey({.ne = 6, .nn = 7, .nz = 9})), matrix(matrix_of(survey, ncof)) {
    write_case(*this, survey, lines);
    write("sens.mtx", matrix);
    write_files(*this, survey.mesh, 1);
  }
  /// Replaces a value of a list, from 1.
  void change(const std::string& name, int number, const std::string& value) const {
    std::istringstream old(read(name));
    std::string text;
    int at = 0;
    for (std::string line; std::getline(old, line);) text += (++at == number ? value : line) + "\n";
    write(name, text);
  }

  Survey survey;
  std::string matrix;
};

const InputLines kQuick = with_files({{1, "2"}, {2, "1e4 0"}}, {5, 6, 7, 8, 9, 12});

// A fault that only the owner of a cell sees, or that its neighbour counts too; the wrong one of
// two. Cell 216 is the last one of the second process, 378 of the third.
TEST(SharedInversion, EndsAsThatOfOneProcessWhereverAFaultLies) {
  using Fault = std::tuple<std::string, int, std::string>;  // file, number, value
  const auto with = [](const std::vector<Fault>& faults, const InputLines& lines = kQuick) {
    const SevenRows folder(lines, 6);
    for (const auto& [name, number, value] : faults) folder.change(name, number, value);
    const Outcome one = invert(folder);
    EXPECT_FALSE(one.contains("quorivex_001.pre")) << one.at("console");
    SCOPED_TRACE(one.at("console"));
    expect_same(invert_shared(folder, 3), one);
  };
  with({{"initial", 216, "0.5"}});
  with({{"initial", 378, ""}});
  with({{"codes", 216, "2"}});
  with({{"upper", 216, "-1"}, {"upper", 378, "-2"}});
  with({{"weights", 378, "-1"}, {"weights", 378 + 315 + 1, "-2"}});
  with({{"weights", 378 + 315 + 324 + 336, "1 1"}});
  with({}, {{1, "2"}, {8, "VALUE 0.00099999"}, {9, "VALUE 0.00100001"}});  // all reach the bounds
}

/// One message, on the console and in the log, and of the results none but whole ones.
void expect_stop(const Outcome& got, const Outcome& whole, const std::string& message) {
  for (const char* name : {"console", "quorivex.log"}) {
    const std::string& text = got.at(name);
    EXPECT_EQ(occurrences(text, message), 1) << name << text;
    EXPECT_EQ(occurrences(text, "ERROR"), occurrences(message, "ERROR")) << text;
  }
  EXPECT_EQ(occurrences(got.at("console"), "completed"), 0);
  for (const auto& [name, text] : got) {
    EXPECT_TRUE(!name.starts_with("quorivex_") || (whole.contains(name) && whole.at(name) == text))
        << name;
  }
}

// A process that waits for one that has failed; two messages.
TEST(SharedInversion, EndsForAllWithTheMessageOfTheOneThatCannotRead) {
  for (const std::size_t ncof : {0U, 6U}) {
    const SevenRows folder(kQuick, ncof);
    const auto with = [&](int rank, const std::string& name, const std::string& text,
                          const std::string& message) {
      const std::string other = folder.path("other");
      std::filesystem::copy(folder.path(""), other);  // the files
      folder.write("other/" + name, text);
      if (text.empty()) std::filesystem::remove(other + "/" + name);
      const Outcome got =
          invert_shared(folder, 3, "1", fmt::format("[ $rank != {} ] || cd other", rank));
      expect_stop(got, {}, message);
      EXPECT_FALSE(folder.has("other/quorivex.log"));
      std::filesystem::remove_all(other);
    };
    with(1, "obs.dat", "", " ERROR: data file not found: obs.dat");
    with(1, "initial", "x", " ERROR reading initial model file initial");
    const std::size_t bytes = folder.matrix.size();
    for (const std::size_t left : {bytes - 10, bytes / 2, bytes / 16})
      with(2, "sens.mtx", folder.matrix.substr(0, left), "ERROR reading sensitivity file sens.mtx");
  }
}

// A disk that is full after the first pieces of a model.
TEST(SharedInversion, LeavesNoModelHalfWritten) {
  const ScratchFolder folder;
  write_case(folder, make_survey({.ne = 1, .nn = 3, .nz = 200000}),
             {{1, "2"}, {2, "1e9 0"}, {10, "1 0 0 0"}});
  const Outcome got = invert_shared(folder, 3, "1", "[ $rank != 0 ] || ulimit -f 12000");
  EXPECT_TRUE(got.contains("quorivex_001.pre"));
  EXPECT_FALSE(got.contains("quorivex_001.sus") || folder.has_leftovers());
  EXPECT_EQ(
      occurrences(got.at("console"), "\n ERROR writing file quorivex_001.sus: File too large\n"), 1)
      << got.at("console");
}

#ifdef QUORIVEX_FAILING_CALLS
// A collective that allocates after it has asked whether a process has failed.
TEST(SharedInversion, EndsForAllWhereverTheMemoryOfOneEnds) {
  for (const std::size_t ncof : {0U, 6U}) {
    const SevenRows folder(kQuick, ncof);
    const auto with_memory_to = [&](long allocation) {
      return invert_shared(
          folder, 3, "1",
          fmt::format("[ $rank != 1 ] || export LD_PRELOAD='{}' FAIL_FROM={} CALLS_FILE=count",
                      QUORIVEX_FAILING_CALLS, allocation));
    };
    const Outcome whole = with_memory_to(1'000'000'000);
    const long allocations = std::atol(folder.read("count").c_str());
    EXPECT_GT(allocations, 300) << "the library is not in use";
    for (int n = 1; n <= 8; ++n) {
      SCOPED_TRACE(n * allocations / 9);
      expect_stop(with_memory_to(n * allocations / 9), whole, "Memory allocation error in: ");
    }
  }
}
#endif

}  // namespace
}  // namespace quorivex::test
