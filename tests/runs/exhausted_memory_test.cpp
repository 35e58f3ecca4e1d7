// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "compressed.h"
#include "run_program.h"

namespace quorivex::test {
namespace {

const std::string kCompleted = "\n    Inversion completed.\n";
const std::string kNoMemory = "\nMemory allocation error in: ";

/// A run whose allocation number `from` and every later one fail; returns its console.
std::string run_short_of_memory(const ScratchFolder& folder, long from) {
  return run_program(folder, "run.inp 1",
                     fmt::format("export LD_PRELOAD='{}' FAIL_FROM={} CALLS_FILE=allocations",
                                 QUORIVEX_FAILING_CALLS, from));
}

/// The word after the message, "" without one.
std::string routine(const std::string& console) {
  const std::size_t at = console.find(kNoMemory);
  if (at == std::string::npos) return "";
  const std::size_t begin = at + kNoMemory.size();
  return console.substr(begin, console.find('\n', begin) - begin);
}

/// One message and no complete run, or a complete run and no message; the log says the same, and
/// every result that is there is the one of the plain run.
void check_end(const ScratchFolder& folder, const std::string& console,
               const ScratchFolder& plain) {
  const bool completed = console.find(kCompleted) != std::string::npos;
  const std::size_t message = console.find(kNoMemory);
  EXPECT_NE(completed, message != std::string::npos) << console;
  EXPECT_EQ(console.rfind(kNoMemory), message) << "two messages:\n" << console;
  if (completed) {
    EXPECT_EQ(result_files(folder), result_files(plain));
  } else if (folder.has("quorivex.log")) {
    EXPECT_EQ(routine(folder.read("quorivex.log")), routine(console));
  }
  for (const std::string& name : result_files(folder))
    EXPECT_EQ(folder.read(name), plain.read(name)) << name;
}

/// The routines that the messages of a run named, memory ending at every allocation in turn.
std::set<std::string> sweep(const Survey& survey, const std::string& matrix) {
  const auto prepare = [&](const ScratchFolder& folder) {
    write_case(folder, survey, {{1, "2"}, {2, "1e6 0"}});
    folder.write("sens.mtx", matrix);
  };
  const ScratchFolder plain;
  prepare(plain);
  run_short_of_memory(plain, 1'000'000'000);
  const long allocations = std::atol(plain.read("allocations").c_str());
  EXPECT_GT(allocations, 300) << "the library is not in use";
  std::set<std::string> routines;
  for (long from = 1; from <= allocations && !testing::Test::HasFailure();
       from += from < 100 ? 1 : 7) {
    SCOPED_TRACE(from);
    const ScratchFolder folder;
    prepare(folder);
    const std::string console = run_short_of_memory(folder, from);
    check_end(folder, console, plain);
    routines.insert(routine(console));
  }
  return routines;
}

// An allocation on the way from a failed one to the end of the program; a message that names
// another routine than the one that failed.
TEST(ExhaustedMemory, EveryRunEndsWithItsMessageWhereverTheMemoryEnds) {
  const Survey survey = make_survey({.ne = 2, .nn = 2, .nz = 3});
  const std::set<std::string> full = sweep(survey, framed(sensitivity_records(survey)));
  for (const char* name : {"", "plexo", "output_model", "write_predicted_data", "read_data_file"})
    EXPECT_TRUE(full.contains(name)) << name;
}

TEST(ExhaustedMemory, ACompressedRunEndsWithItsMessageToo) {
  const Survey survey = make_survey({.ne = 2, .nn = 2, .nz = 5});
  const std::set<std::string> routines = sweep(survey, framed(compressed_records(survey, 4)));
  for (const char* name : {"getpar", "getpar Gs", "WTN"})
    EXPECT_TRUE(routines.contains(name)) << name;
}

}  // namespace
}  // namespace quorivex::test
