// SPDX-License-Identifier: GPL-3.0-or-later
// Every call of the system by which a run can fail, failing in turn. With QUORIVEX_EVERY_CALL in
// the environment no position is left out, which takes several minutes.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <vector>

#include "run_qvx.h"

namespace quorivex::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTinyMesh = "4 3 3\n0 0 100\n4*25\n3*25\n3*20\n";
constexpr const char* kTinyData =
    "! labels of the data: line\n65 12 50000\n65 12 1\n6\n10 10 120 5 1 !A\n60 20 120 8 1 !A\n"
    "90 30 120 3 1 !A\n10 60 120 4 1 !B\n60 55 120 7 1 !B\n90 50 120 2 1 !B\n";
constexpr const char* kTinyInput =
    "2\n1e6 0.02\nobs.mag\ns.mtx\nVALUE 0.001\nVALUE 0.0\nnull\nVALUE 0.0\nVALUE 1.0\nnull\n"
    "SMOOTH_MOD\nnull\n";

const std::string kSensitivity =
    "'" QVX_PROGRAM "' sensitivity --mesh mesh.txt --data obs.mag --threads 1 --output s.mtx";
const std::string kInversion = "'" QUORIVEX_PROGRAM "' run.inp 1";

/// Kind of the calls that fail (tests/support/failing_calls.cpp), from which on, or which one.
struct Fault {
  std::string kind;
  bool once = false;
  long from = 1'000'000'000;
  int signal = 0;  // that comes in place of the failure
};

struct Outcome {
  int status = -1;  // -1 after a signal
  long calls = 0;   // of the kind, when the program ended by itself
  std::string out;
  std::string err;
  std::map<std::string, std::string> files;  // their bytes by their names

  bool says(const char* text) const { return (out + err).find(text) != std::string::npos; }
};

bool holds_message(const std::string& text) {
  return text.find("ERROR") != std::string::npos ||
         text.find("Memory allocation error in: ") != std::string::npos;
}

Outcome run(const std::string& command, const ScratchFolder& start, const Fault& fault) {
  const ScratchFolder folder;
  const ScratchFolder told;
  fs::copy(start.path(""), folder.path(""));
  const std::string line = fmt::format(
      "cd '{}' && ulimit -c 0 && LD_PRELOAD='{}' FAILING_CALL={} FAIL_FROM={} CALLS_FILE='{}' {} "
      "timeout -k 5 60 {} > '{}' 2> '{}' < /dev/null",
      folder.path(""), QUORIVEX_FAILING_CALLS, fault.kind, fault.from, told.path("calls"),
      fault.once         ? "FAIL_ONCE=1"
      : fault.signal > 0 ? fmt::format("FAIL_SIGNAL={}", fault.signal)
                         : "",
      command, told.path("out"), told.path("err"));
  const int status = std::system(line.c_str());
  Outcome outcome{.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                  .calls = std::atol(told.read("calls").c_str()),
                  .out = told.read("out"),
                  .err = told.read("err"),
                  .files = {}};
  for (const auto& entry : fs::directory_iterator(folder.path(""))) {
    const std::string name = entry.path().filename().string();
    outcome.files[name] = folder.read(name);
  }
  return outcome;
}

/// What is there under its final name is whole, and nothing else is there.
void expect_no_half_files(const Outcome& got, const Outcome& plain) {
  for (const auto& [name, bytes] : got.files) {
    ASSERT_TRUE(plain.files.contains(name)) << name << " is left\n" << got.err;
    const bool grows = name == "quorivex.log" || name == "quorivex.out";
    EXPECT_TRUE(grows || bytes == plain.files.at(name)) << name << " is not the plain run's";
  }
}

void expect_right_end_of_qvx(const Outcome& got, const Outcome& plain) {
  expect_no_half_files(got, plain);
  if (got.status == 0) {
    EXPECT_EQ(got.files.size(), plain.files.size());
    EXPECT_FALSE(holds_message(got.err)) << got.err;
  } else {
    EXPECT_EQ(got.status, 1) << got.err;
    EXPECT_TRUE(holds_message(got.err)) << got.err;
  }
}

void expect_right_end_of_quorivex(const Outcome& got, const Outcome& plain, const Fault& fault) {
  expect_no_half_files(got, plain);
  EXPECT_EQ(got.status, 0);
  const auto log = got.files.find("quorivex.log");
  const bool told = holds_message(got.out);
  // A lost console is no reason to stop: then the log tells.
  const bool completed = fault.kind == "console" ? log->second.find("ended on") != std::string::npos
                                                 : got.says("Inversion completed.");
  EXPECT_TRUE(completed || told) << got.out;  // both where the summary cannot be closed
  EXPECT_TRUE(!completed || told || got.files.size() == plain.files.size());
  const bool about_log = got.says("quorivex.log") || (fault.kind == "write" && !fault.once);
  if (told && !about_log && log != got.files.end()) {
    EXPECT_TRUE(holds_message(log->second)) << got.out << log->second;
  }
}

/// Lets every call of a kind fail in turn: all of the first, then about `more` of the others.
void sweep(const std::string& command, const ScratchFolder& start, Fault fault, long more) {
  const Outcome plain = run(command, start, fault);
  ASSERT_TRUE(plain.status == 0 && !holds_message(plain.out + plain.err)) << plain.err;
  EXPECT_GT(plain.calls, 0) << fault.kind << ": none is counted";
  const bool every = std::getenv("QUORIVEX_EVERY_CALL") != nullptr;
  for (fault.from = 1; fault.from <= plain.calls;
       fault.from += every || fault.from < 20 ? 1 : std::max(1L, plain.calls / more)) {
    SCOPED_TRACE(fmt::format("{} {}{} of {}: {}", fault.kind, fault.from,
                             fault.once ? "" : " and later", plain.calls, command));
    const Outcome got = run(command, start, fault);
    if (command == kInversion) {
      expect_right_end_of_quorivex(got, plain, fault);
    } else {
      expect_right_end_of_qvx(got, plain);
    }
    if (testing::Test::HasFailure()) return;
  }
}

void sweep_kinds(const std::string& command, const ScratchFolder& start,
                 const std::vector<std::string>& kinds) {
  for (const std::string& kind : kinds) {
    for (const bool once : {false, true}) {
      if (!testing::Test::HasFailure()) sweep(command, start, {kind, once}, 25);
    }
  }
}

/// The inputs, and what the commands make of them.
void prepare(const ScratchFolder& folder, const std::vector<std::string>& commands) {
  folder.write("mesh.txt", kTinyMesh);
  folder.write("obs.mag", kTinyData);
  folder.write("run.inp", kTinyInput);
  for (const std::string& command : commands) {
    const std::string line = "cd '" + folder.path("") + "' && " + command + " > /dev/null 2>&1";
    ASSERT_EQ(std::system(line.c_str()), 0) << command;
  }
}

// An exception where none can pass, a message that allocates, a file that is left or takes its name
// too early, a failure that nobody looks at.
TEST(FailingCalls, QuorivexEndsWithItsMessage) {
  const ScratchFolder start;
  prepare(start, {kSensitivity});
  sweep_kinds(kInversion, start,
              {"allocation", "write", "console", "create", "read", "rename", "sync"});
}

TEST(FailingCalls, QvxSensitivityEndsWithItsMessage) {
  const ScratchFolder start;
  prepare(start, {});
  sweep_kinds(kSensitivity, start,
              {"allocation", "write", "console", "create", "read", "rename", "sync"});
}

TEST(FailingCalls, QvxExportEndsWithItsMessage) {
  const ScratchFolder start;
  prepare(start, {kSensitivity, kInversion});
  sweep_kinds("'" QVX_PROGRAM
              "' export run.inp --vtr m.vtr --csv m.csv --points d.vtp --data-csv d.csv",
              start, {"allocation", "write", "console", "create", "read", "rename", "sync"});
}

// The library crashes where its memory ends: it has a process of its own.
TEST(FailingCalls, QvxExportEndsWithItsMessageWhenTheNetcdfLibraryFails) {
  const ScratchFolder start;
  prepare(start, {kSensitivity, kInversion});
  sweep_kinds("'" QVX_PROGRAM "' export run.inp --netcdf m.nc", start,
              {"allocation", "write", "create", "rename", "sync"});
}

// Pictures are larger than the pipe through which they come.
TEST(FailingCalls, QvxExportEndsWithItsMessageWhenSlicesCannotBeWritten) {
  const ScratchFolder start;
  prepare(start, {kSensitivity, kInversion});
  sweep_kinds("'" QVX_PROGRAM "' export run.inp --slices . --depths 5", start,
              {"write", "create", "rename"});
}

// Without "read": what cannot be read of the sidecar is missing on the page.
TEST(FailingCalls, QvxReportEndsWithItsMessage) {
  const ScratchFolder start;
  prepare(start, {kSensitivity, kInversion});
  sweep_kinds("'" QVX_PROGRAM "' report run.inp", start,
              {"allocation", "write", "console", "create", "rename", "sync"});
}

/// The command is ended by a signal at every call that writes, opens or renames: `expect` sees what
/// is left, and the command then does its work there.
void interrupt(const std::string& command, const ScratchFolder& start, const Outcome& plain,
               const std::function<void(const Outcome&)>& expect) {
  for (const int signal : {SIGKILL, SIGTERM, SIGINT}) {
    for (const char* kind : {"write", "create", "rename", "sync"}) {
      Fault fault{.kind = kind, .signal = signal};
      for (fault.from = 1;; ++fault.from) {
        SCOPED_TRACE(fmt::format("signal {} at {} {}: {}", signal, kind, fault.from, command));
        const Outcome got = run(command, start, fault);
        if (got.status == 0) break;
        EXPECT_EQ(got.status, 128 + signal) << got.err;
        EXPECT_EQ(signal != SIGKILL, got.err == "\nInterrupted; unfinished files were removed.\n");
        expect(got);
        const auto is_left = [](const auto& file) {
          return file.first.ends_with(".part") || file.first.ends_with(".lock");
        };
        EXPECT_TRUE(signal == SIGKILL || std::none_of(got.files.begin(), got.files.end(), is_left));
        const ScratchFolder after;
        for (const auto& [name, bytes] : got.files) after.write(name, bytes);
        for (const auto& [name, bytes] : run(command, after, {}).files)
          EXPECT_TRUE(is_left(std::pair(name, bytes)) || name.starts_with("quorivex.") ||
                      bytes == plain.files.at(name))
              << name;
        if (testing::Test::HasFailure()) return;
      }
      EXPECT_GT(fault.from, 1);
    }
  }
}

// A model or predicted data under its final name before it is complete; what is left of a run that
// was killed stops the next one.
TEST(Interrupted, QuorivexLeavesWholeResults) {
  const ScratchFolder start;
  prepare(start, {kSensitivity});
  const Outcome plain = run(kInversion, start, {});
  interrupt(kInversion, start, plain, [&](const Outcome& got) {
    for (const auto& [name, bytes] : got.files) {
      if (name.starts_with("quorivex_") && !name.ends_with(".part")) {
        EXPECT_EQ(bytes, plain.files.at(name)) << name;
      }
    }
  });
}

// A new matrix next to the sidecar of the old one, which vouches for other observations.
TEST(Interrupted, QvxSensitivityLeavesNoSidecarOfAnotherMatrix) {
  const ScratchFolder start;
  prepare(start, {kSensitivity});
  const auto old = run("true", start, {}).files;
  start.write("obs.mag", std::regex_replace(std::string(kTinyData), std::regex("120"), "130"));
  const Outcome plain = run(kSensitivity, start, {});
  ASSERT_FALSE(plain.files.at("s.mtx") == old.at("s.mtx"));
  interrupt(kSensitivity, start, plain, [&](const Outcome& got) {
    const auto& files = got.files.at("s.mtx") == old.at("s.mtx") ? old : plain.files;
    EXPECT_EQ(got.files.at("s.mtx"), files.at("s.mtx"));
    if (got.files.contains("s.mtx.info")) {
      EXPECT_EQ(got.files.at("s.mtx.info"), files.at("s.mtx.info"));
    }
  });
}

}  // namespace
}  // namespace quorivex::test
