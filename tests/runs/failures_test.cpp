// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <tuple>

#include "compressed.h"
#include "run_program.h"

namespace quorivex::test {
namespace {

// 12 cells, 7 of them below the column tops, and 4 data.
const Survey& small_survey() {
  static const Survey survey = make_survey({.ne = 2, .nn = 2, .nz = 3});
  return survey;
}

const InputLines kQuick{{1, "2"}, {2, "1e6 0"}};

/// A folder with a quick case, and next to its files a folder and a pipe.
struct Case : ScratchFolder {
  explicit Case(const InputLines& changed = kQuick) {
    write_case(*this, small_survey(), changed);
    std::filesystem::create_directory(path("folder"));
    EXPECT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  }

  /// The run ends by itself and says why once, in whole lines on the console and in the log; of
  /// its results only `left` are there.
  void expect_stop(const std::string& message, const std::set<std::string>& left = {},
                   const std::string& input = "run.inp", const std::string& before = "true") const {
    SCOPED_TRACE(message);
    const std::string console = run_program(*this, input, before);
    const bool logged = message.find("quorivex.log") == std::string::npos;
    for (std::string text : {console, logged ? read("quorivex.log") : console}) {
      const std::size_t at = ("\n" + text).find("\n" + message + "\n");
      ASSERT_NE(at, std::string::npos) << text;
      text.erase(at, message.size());
      EXPECT_EQ(text.find("ERROR"), std::string::npos) << "a second message:\n" << text;
    }
    EXPECT_EQ(result_files(*this), left);
  }

  /// The run goes to its end with the results of the unchanged case.
  void expect_plain_results(const std::string& arguments) const {
    const Case plain;
    run_program(plain, "run.inp");
    const std::string console = run_program(*this, arguments);
    EXPECT_NE(console.find("\n    Inversion completed.\n"), std::string::npos) << console;
    for (const char* name : {"quorivex_003.sus", "quorivex_003.pre"})
      EXPECT_EQ(read(name), plain.read(name));
  }
};

// Changes of the input file, each line after its number; the contents of the file f; the message.
// "~" stands for a line end.
constexpr const char* kBadInputs = R"(
2 1 -1||Error: tolc should be greater than 0.
5 VALUE 1e|| ERROR reading constant value for initial model VALUE 1e
6 VALUE|| ERROR reading constant value for reference model VALUE
5 value 1|| ERROR: initial model file not found: value 1
5 f|12*0| ERROR: end reached reading initial model file f
6 f|3*0,,8*0| ERROR reading reference model file f
7 f|11*1 1.5| ERROR reading active cell file f
7 f|2 11*1| ERROR: values in the active cell file should be -1, 0 or 1. f
7 f|12*0|ERROR: all cells are inactive.
7 f~11 SMOOTH_MOD_DIF|11*1 -1|Error: cannot use SMOOTH_MOD_DIF with inactive cells with influence(-1).
3 f|1 2 3| ERROR: end reached when reading data file f
3 f| ! c| ERROR reading data file f  ! c
3 f|1 2 3~1 2 1~4~1 2 3 4| ERROR reading data file f 1 2 3 4
3 f|1 2 3~1 2 0~4~1 2 3 4 5| ERROR reading data file f 1 2 3 4 5
3 f|1 2 3~1 2 2 !| ERROR: idir in data file should be 0 or 1. 1 2 2 !
3 f|1 2 3~1 2 1~0| ERROR: Number of data should be positive. f
3 f|1 2 3~1 2 1~2000000000| ERROR: Number of data is inconsistent in obs and mtx files.
3 f|1 2 3~1 2 1~4~1 2 3 4 0| ERROR: standard deviation should be greater than 0. 1 2 3 4 0
8 f~9 VALUE .5|0~0~0~0~0~0~0~0~0~0~0~.75|ERROR: Upper bound should be greater than lower: 12  7.5000E-01  5.0000E-01
5 VALUE 2||ERROR: number of cells in initial model outside bounds: 7
10 -1 1 1 1||Error:  alpha's cannot be negative.
10 4*0||Error:  alpha's cannot be all equal to 0 at the same time.
10 0 0 0||Error: length scales cannot be all equal to 0
10 1 2||ERROR reading alpha or length scale values in input file.
12 f|12*1 -.5 19*1| ERROR: weights should not be negative; value 13 in weight file f is -5.0000E-01
2 1e9 0||Target misfit is too large to be meaningful.~Please change chifact or data errors.~Program is terminated.
1 2~8 VALUE 0.00099999~9 VALUE 0.00100001||Error: All cells reach the bounds!
1 2~3 f~5 VALUE 0~8 VALUE -1|1 2 3~1 2 1~4~1 2 3 0 1~1 2 3 0 1~1 2 3 0 1~1 2 3 0 1|Not able to reduce the objective function.
)";

TEST(Failures, InputsThatCannotBeUsedStopWithTheirMessage) {
  std::istringstream table(kBadInputs + 1);
  for (std::string changes, f, message; std::getline(table, changes, '|');) {
    std::getline(std::getline(table, f, '|'), message);
    for (std::string* text : {&changes, &f, &message})
      std::replace(text->begin(), text->end(), '~', '\n');
    InputLines lines;
    std::istringstream stream(changes);
    for (std::string change; std::getline(stream, change);)
      lines[std::stoi(change)] = change.substr(change.find(' ') + 1);
    const Case folder(lines);
    folder.write("f", f);
    folder.expect_stop(message);
  }
}

// What a file named in a line of the input file is called; 0: the input file itself.
const std::map<int, std::string> kLabels{
    {0, "input"},           {3, "data"},         {4, "sensitivity"},  {5, "initial model"},
    {6, "reference model"}, {7, "active cells"}, {8, "lower bounds"}, {9, "upper bounds"},
    {12, "weight"}};

TEST(Failures, AMissingFileAFolderAndAPipeAreNotFoundAndNotWaitedFor) {
  for (const std::string name : {"missing", "folder", "pipe", "/dev/zero"}) {
    for (const auto& [line, label] : kLabels)
      Case({{line == 0 ? 1 : line, name}})
          .expect_stop(" ERROR: " + label + " file not found: " + name, {},
                       line == 0 ? name : "run.inp");
  }
}

TEST(Failures, AListThatIsTooShortOrTooLongOrHoldsOtherThanNumbersIsRefused) {
  for (const int line : {5, 6, 7, 8, 9, 12}) {
    const Case folder({{line, "f"}});
    const std::string what = (line == 7 ? "active cell" : kLabels.at(line)) + " file f";
    std::string all_but_one;
    for (int value = 1; value < (line == 12 ? 32 : 12); ++value) all_but_one += "1\n";
    folder.write("f", all_but_one);
    folder.expect_stop(" ERROR: end reached reading " + what);
    folder.write("f", all_but_one + "12abc");
    folder.expect_stop(" ERROR reading " + what);
    for (const char* left : {"1", "NaN", "-inf"}) {
      folder.write("f", all_but_one + "1\n\n" + left);
      folder.expect_stop(" ERROR: too many values in " + what);
    }
  }
}

const std::string kSample = R"(
 quorivex sample input file: (! must precede comments)

1                  ! mode (1, 2)
1.0  0.02          ! par, tolc
obs.mag            ! data file
quorivex.mtx       ! mtx file
VALUE 0.001        ! initial model
VALUE 0.0          ! reference model
null               ! active cell file | null
VALUE 0.0          ! lower bounds
VALUE 1.0          ! upper bounds
0.0001 1. 1. 1.    ! alphaS, alphaE, alphaN, alphaZ | null
SMOOTH_MOD | SMOOTH_MOD_DIF
w.dat              ! 3D weighting     | null

)";

TEST(Failures, ARefusedInputFileIsAnsweredWithTheSampleAndLeavesTheOldSummary) {
  const std::string mode = "\nERROR: model should be 1 or 2.\n\n";
  const std::string word =
      "\nERROR: input file should contain either SMOOTH_MOD or SMOOTH_MOD_DIF.\n\n";
  for (const auto& [line, now, reason] : std::vector<std::tuple<int, std::string, std::string>>{
           {1, "3", mode},
           {2, "1 ! tolc is missing", ""},
           {11, " SMOOTH_MOD", word},
           {11, "SMOOTH_MOD | SMOOTH_MOD_DIF", word},
           {0, "1", ""}}) {  // the only line
    SCOPED_TRACE(now);
    const Case folder({{line, now}});
    if (line == 0) folder.write("run.inp", now);
    folder.write("quorivex.out", "old");
    const std::string console = run_program(folder, "run.inp");
    const std::string error = "ERROR reading inversion input file run.inp\n";
    EXPECT_TRUE(console.ends_with("\n" + reason + error + kSample)) << console;
    EXPECT_TRUE(folder.read("quorivex.log").ends_with("---\n\n" + reason + kSample));
    EXPECT_EQ(folder.read("quorivex.out"), "old");
  }
}

TEST(Failures, WithoutAnInputFileTheRunExplainsItself) {
  const ScratchFolder folder;
  EXPECT_TRUE(run_program(folder, "")
                  .ends_with("\n   Usage: quorivex quorivex.inp  [nThreads]\n\n"
                             "   For a sample input file, type: quorivex -inp\n"));
  EXPECT_FALSE(folder.has("quorivex.log"));
  EXPECT_TRUE(run_program(folder, "-inp").ends_with(kSample));
  EXPECT_TRUE(folder.read("quorivex.log").ends_with(kSample));
}

TEST(Failures, FormsThatAreAllowedAreNotRefused) {
  for (const char* end : {"\n", "\r\n"}) {
    const Case folder;
    folder.write("run.inp", fmt::format("2 ! mode{0}{0}1D6,0 ! par{0}obs.dat ! d{0}sens.mtx\t! s{0}"
                                        "VALUE .1d-2 ! i{0}VALUE 0{0}null{0}VALUE 0{0}VALUE +1{0}"
                                        "null{0}SMOOTH_MOD      ! word{0}null",
                                        end));
    folder.expect_plain_results("run.inp");
  }
  for (const char* threads : {"0", "abc"})
    Case().expect_plain_results(std::string("run.inp ") + threads);
  std::vector<std::string> records = sensitivity_records(small_survey());
  for (std::string& record : records) record.resize(record.size() + 12, 'x');
  const Case longer_records;
  longer_records.write("sens.mtx", framed(records));
  longer_records.expect_plain_results("run.inp");
}

const std::string kBadSens = "ERROR reading sensitivity file sens.mtx";

/// A record (from 1), one of its 32-bit numbers (from 0; -1 is the head count), its new value.
using Patch = std::array<std::int32_t, 3>;
constexpr std::int32_t kHuge = 2000000000;

/// A message about a `wrong` number tells the record and the number found.
void expect_refused(const std::string& sensitivity_file, const std::string& message = kBadSens,
                    const Patch* wrong = nullptr) {
  const Case folder;
  folder.write("sens.mtx", sensitivity_file);
  folder.expect_stop(message);
  if (wrong == nullptr) return;
  const std::string log = folder.read("quorivex.log");
  const std::size_t at = log.find(fmt::format("mtx\n Record {}: ", (*wrong)[0]));
  EXPECT_NE(log.find(fmt::format(" {}", (*wrong)[2]), log.find("found", at)), std::string::npos)
      << log;
}

TEST(Failures, ASensitivityFileCutOffAnywhereOrWithRecordsTooShortIsRefused) {
  for (std::vector<std::string> records :
       {sensitivity_records(small_survey()), compressed_records(small_survey(), 4)}) {
    const std::string whole = framed(records);
    std::size_t head = 0;
    for (std::string& record : records) {
      SCOPED_TRACE(head);
      const std::size_t tail = head + 4 + record.size();
      for (const std::size_t bytes : {head, head + 4, (head + tail) / 2, tail})
        expect_refused(whole.substr(0, bytes));
      std::string disagreeing = whole;
      disagreeing[tail] = static_cast<char>(disagreeing[tail] ^ 4);
      expect_refused(disagreeing);
      const std::string right = record;
      record.resize(record.size() - 4);
      expect_refused(framed(records));
      record = right;
      head = tail + 4;
    }
  }
}

/// The small file in full form, or with two coefficients a row on a wavelet grid of 2 x 4 x 4.
std::string patched(bool sparse, const Patch& patch) {
  std::vector<std::string> records = sensitivity_records(small_survey());
  if (sparse) {
    records[3] = record(2, 0.5, 0.25);
    records[4] = record(2, 4, 4);
    for (std::size_t row : {6U, 7U, 8U, 9U}) records[row] = record(2, 1, 32, 1.5F, 2.5F);
  }
  const auto number = framed({records.begin(), records.begin() + patch[0] - 1}).size() + 4 +
                      std::size_t{4} * static_cast<std::size_t>(patch[1]);
  return framed(records).replace(number, 4, record(patch[2]));
}

TEST(Failures, ASensitivityFileThatSaysWhatCannotBeIsRefusedWithTheRecord) {
  const std::vector<Patch> unreadable{{1, -1, -20},  {1, -1, 2147483647}, {1, 4, 100000000},
                                      {1, 0, kHuge}, {1, 1, kHuge},       {1, 0, 5},
                                      {4, 0, kHuge}};
  for (const Patch& patch : unreadable) expect_refused(patched(false, patch));
  expect_refused(patched(true, {7, 0, 3}));
  for (const Patch& patch :
       {Patch{1, 0, -1}, {1, 1, -2}, {1, 3, 0}, {1, 4, kHuge}, {3, 0, -1}, {3, 3, 4}, {5, 1, -3}})
    expect_refused(patched(false, patch), kBadSens, &patch);
  for (const Patch& patch : {Patch{5, 0, 0},
                             {5, 0, 1},
                             {5, 1, 6},
                             {5, 2, 2},
                             {5, 2, kHuge},
                             {5, 2, 262144},
                             {7, 0, -1},
                             {7, 0, 33},
                             {7, 1, 0},
                             {7, 2, 33},
                             {10, 1, 0}})
    expect_refused(patched(true, patch), kBadSens, &patch);
  expect_refused(patched(false, {3, 0, 1}), "idx1 /= size(wtz)");  // one cell more than nsens
  expect_refused(patched(true, {4, 2, 0x7ff00000}),
                 kBadSens +
                     "\n Record 4: the coefficients of the filter should be finite numbers; "
                     "found one that is not.");
}

// A reader that stops before the lines of its first half are written, or a line out of its place.
TEST(Failures, TheLogHoldsWhatWasReadBeforeTheStop) {
  const std::string full = framed(sensitivity_records(small_survey()));
  const auto expect_lines = [](const Case& folder, const std::vector<std::string>& lines) {
    const std::string console = run_program(folder, "run.inp");
    const std::string log = folder.read("quorivex.log");
    std::size_t at = 0;
    for (const std::string& line : lines) {
      const std::size_t found = log.find(line, at);
      ASSERT_NE(found, std::string::npos) << line << " is not after\n" << log.substr(0, at);
      at = found + line.size();
    }
    EXPECT_EQ(log.find_first_not_of('\n', at), std::string::npos) << log;
    EXPECT_TRUE(console.ends_with("\n" + lines.back() + "\n\n") ||
                console.ends_with("\n" + lines.back() + "\n"))
        << console;
  };
  Case inactive({{7, "f"}});
  inactive.write("f", "12*0");
  expect_lines(inactive, {"need a lot more memory.", "# of data:", "cells were read from file: f\n",
                          "total # of cells:", "# of inactive cells:      12\n\n",
                          "ERROR: all cells are inactive."});
  Case cut;
  cut.write("sens.mtx", full.substr(0, full.size() - 80));
  expect_lines(cut, {"Running with", "\nWARNING: no compression is used", kBadSens});
  Case shifted;
  shifted.write("sens.mtx", patched(false, {3, 0, 1}));
  expect_lines(shifted, {"# of cells below topo:", "reference model was set to:  0.0000E+00\n",
                         "idx1 /= size(wtz)"});
  expect_lines(Case({{6, "missing"}}),
               {"# of cells below topo:", " ERROR: reference model file not found: missing"});
  expect_lines(Case({{9, "missing"}}), {"initial model was set to:", "lower bounds was set to:",
                                        " ERROR: upper bounds file not found: missing"});
}

TEST(Failures, AMatrixLargerThanMemoryEndsInTheAllocationMessage) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "the sanitizer's own memory needs more than the limit";
#endif
  constexpr std::int32_t kRows = 200000000;  // 5.6 GB; the file has a hole of that size
  const Case folder;
  folder.write("sens.mtx", patched(false, {1, 0, kRows}));
  std::filesystem::resize_file(folder.path("sens.mtx"), 36 * std::uintmax_t{kRows} + 10000);
  folder.expect_stop("Memory allocation error in: getpar Gfull", {}, "run.inp",
                     "ulimit -v 4000000");
}

TEST(Failures, AnOutputFileThatCannotBeWrittenIsNamedAndNotLeftHalfWritten) {
  const std::string pre = "quorivex_001.pre";
  const std::string sus = "quorivex_001.sus";
  // A name, what it is a link to or "" for a folder of that name, the reason, the results left.
  using Row = std::tuple<std::string, std::string, std::string, std::set<std::string>>;
  for (const auto& [name, to, why, left] :
       {Row{"quorivex.log", "", "Is a directory", {}},
        Row{"quorivex.log", "pipe", "No such device or address", {}},
        Row{"quorivex.log", "nowhere/log", "No such file or directory", {}},
        Row{"quorivex.log", "/dev/full", "No space left on device", {}},
        Row{"quorivex.out", "", "Is a directory", {}},
        Row{"quorivex.out", "/dev/full", "No space left on device", {}},
        Row{sus, "", "it is not a regular file", {pre, sus}},
        Row{sus, "/dev/null", "it is not a regular file", {pre, sus}}}) {
    const Case folder;
    if (to.empty()) std::filesystem::create_directory(folder.path(name));
    if (!to.empty()) std::filesystem::create_symlink(to, folder.path(name));
    const std::string data = folder.read("obs.dat");
    folder.expect_stop(" ERROR writing file " + name + ": " + why, left);
    EXPECT_EQ(folder.read("obs.dat"), data) << "written through a link";
  }
}

// An input that is emptied before it is read, or replaced by a result.
TEST(Failures, AnInputThatTheRunWouldOverwriteIsRefusedBeforeAnythingIsWritten) {
  // A line of the input file, what it names, the output that is a link to this or "", which output.
  using Row = std::tuple<int, std::string, std::string, std::string>;
  for (const auto& [line, name, link, output] :
       {Row{3, "quorivex.log", "", "data file quorivex.log"},
        Row{4, "./quorivex.out", "", "sensitivity file ./quorivex.out"},
        Row{5, "quorivex_007.sus", "", "initial model file quorivex_007.sus"},
        Row{4, "sens.mtx", "quorivex_001.pre", "sensitivity file sens.mtx"},
        Row{12, "w.txt", "quorivex.log", "weight file w.txt"}}) {
    const Case folder({{line, name}});
    if (link.empty()) folder.write(name, "somebody's");
    if (!link.empty()) std::filesystem::create_symlink(name, folder.path(link));
    if (line == 12) folder.write(name, "somebody's");
    const std::string before = folder.read(name);
    const std::string console = run_program(folder, "run.inp");
    const std::string replaced = std::filesystem::path(link.empty() ? name : link).filename();
    EXPECT_TRUE(console.ends_with(
        fmt::format("\n ERROR: {} would be overwritten by the run's {}\n\n", output, replaced)))
        << console;
    EXPECT_EQ(folder.read(name), before);
    EXPECT_EQ(folder.has("quorivex.log"), replaced == "quorivex.log");
  }
  const Case as_log;
  as_log.write("quorivex.log", as_log.read("run.inp"));
  EXPECT_NE(run_program(as_log, "quorivex.log").find("ERROR: input file"), std::string::npos);
  EXPECT_EQ(as_log.read("quorivex.log"), as_log.read("run.inp"));
}

TEST(Failures, ASecondRunInTheFolderIsToldSoAndWritesNothing) {
  const Case folder;
  folder.write("quorivex.log", "of the first");
  const int log = ::open(folder.path("quorivex.log").c_str(), O_RDONLY);
  ASSERT_EQ(::flock(log, LOCK_EX), 0);
  EXPECT_TRUE(
      run_program(folder, "run.inp")
          .ends_with("\n ERROR writing file quorivex.log: another program is writing it\n"));
  EXPECT_EQ(folder.read("quorivex.log"), "of the first");
  EXPECT_FALSE(folder.has("quorivex.out"));
  ::close(log);
  folder.expect_plain_results("run.inp");
}

// A runtime that ends the program, or a run that gives up, where the system is short of threads.
TEST(Failures, ThreadsThatCannotBeStartedAreDoneWithout) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "the sanitizer's own memory needs more than the limit";
#endif
  const Case plain;
  run_program(plain, "run.inp");
  for (const char* limit : {"ulimit -v 2000000", "export OMP_STACKSIZE=1000G"}) {
    const Case folder;
    const std::string console = run_program(folder, "run.inp 999", limit);
    for (const std::string& text : {console, folder.read("quorivex.log")})
      EXPECT_NE(text.find("of 999 threads at once;"), std::string::npos) << text;
    EXPECT_EQ(folder.read("quorivex_003.sus"), plain.read("quorivex_003.sus")) << limit;
  }
}

TEST(Failures, TheReasonReachesTheLogWhereTheSummaryCannotBeWritten) {
  const Case folder({{4, "missing"}});
  std::filesystem::create_symlink("/dev/full", folder.path("quorivex.out"));
  folder.expect_stop(" ERROR: sensitivity file not found: missing");
}

}  // namespace
}  // namespace quorivex::test
