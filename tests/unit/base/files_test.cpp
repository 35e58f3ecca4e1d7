// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

#include "base/atomic_file.h"
#include "base/output_lock.h"
#include "base/prepare_process.h"
#include "base/record_file.h"
#include "base/stop_run.h"
#include "base/text_file.h"
#include "records.h"
#include "scratch_folder.h"

namespace quorivex::test {

TEST(TextFile, LinesLoseTheirEndAndWhatExceedsTheMaximum) {
  const ScratchFolder folder;
  auto file = TextFile::open(folder.write("text", "abc\r\nabcd\r\nabcde\r\n\nabc\rf\na\rb"));
  std::string lines;
  for (std::string line; file->read_line(line, 4);) lines += line + "|";
  EXPECT_EQ(lines, "abc|abcd|abcd||abc\r|a\rb|");
}

TEST(TextFile, AByteOrderMarkAtTheHeadIsNoTextAndOnlyThere) {
  const ScratchFolder folder;
  const std::string mark = "\xEF\xBB\xBF";
  for (const auto& [bytes, text] : std::vector<std::pair<std::string, std::string>>{
           {mark + "1\n" + mark + "2", "1|" + mark + "2|"},
           {mark + mark, mark + "|"},
           {mark, ""},
           {mark.substr(0, 2) + "x", mark.substr(0, 2) + "x|"},
           {"\xEF", "\xEF|"}}) {
    auto file = TextFile::open(folder.write("text", bytes));
    for (int reading = 1; reading <= 2; ++reading, file->rewind()) {
      std::string lines;
      for (std::string line; file->read_line(line, 100);) lines += line + "|";
      EXPECT_EQ(lines, text) << "reading " << reading;
    }
  }
}

TEST(RecordFile, SkipsTheRestOfARecordWithinAndBeyondTheBufferAndReadsNoFurther) {
  const ScratchFolder folder;
  for (const std::size_t size : {1U, 2U, 8191U, 8192U, 50000U}) {
    const std::string bytes = framed({record(std::vector<double>(size, 1.0)), record(2.0, 3.0)});
    auto file = RecordFile::open(folder.write("records", bytes));
    std::vector<double> read(3);
    EXPECT_TRUE(file->begin() && file->read(read.data(), 1) && file->finish()) << size;
    EXPECT_TRUE(file->begin() && !file->read(read.data(), 3) && file->read(read.data(), 2));
    EXPECT_EQ(read, (std::vector{2.0, 3.0, 0.0})) << size;
  }
}

TEST(AtomicFile, TheOldFileStaysUntilTheNewOneIsComplete) {
  const ScratchFolder folder;
  AtomicFile(folder.write("model", "old")).append("new");
  EXPECT_EQ(folder.read("model"), "old");
  AtomicFile file(folder.path("model"));
  file.append("new");
  file.commit();
  EXPECT_EQ(folder.read("model"), "new");
}

/// Writes `text` into the file; the message of a stop, "" without one.
std::string write_atomically(const std::string& name, const std::string& text) {
  try {
    AtomicFile file(name);
    file.append(text);
    file.commit();
    return "";
  } catch (const StopRun& stop) {
    return std::string(stop.message());
  }
}

TEST(AtomicFile, GoesWhereALinkLeadsAndIntoTheFolderOfItsTarget) {
  const ScratchFolder folder;
  std::filesystem::create_directory(folder.path("results"));
  std::filesystem::create_symlink("results/latest", folder.path("model"));
  std::filesystem::create_symlink("model_7", folder.path("results/latest"));
  for (const char* text : {"into a missing file", "over an existing one"}) {
    EXPECT_EQ(write_atomically(folder.path("model"), text), "");
    EXPECT_EQ(folder.read("results/model_7"), text);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("model")));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("results/latest")));
  }
  std::filesystem::create_symlink("loop", folder.path("loop"));
  EXPECT_EQ(write_atomically(folder.path("loop"), ""),
            "ERROR writing file " + folder.path("loop") + ": Too many levels of symbolic links");
}

// A writer that shares its temporary file with another one, or takes somebody's file or link for
// it.
TEST(AtomicFile, WritesOnlyIntoAFileOfItsOwn) {
  const ScratchFolder folder;
  const std::string name = folder.path("model");
  const std::string next = fmt::format("model.{}.part", ::getpid());
  folder.write("model.part", "somebody's");
  std::filesystem::create_symlink("model.part", folder.path(next));
  {
    AtomicFile first(name);
    first.append("first");
    EXPECT_EQ(write_atomically(name, "second"), "");
    EXPECT_EQ(folder.read("model"), "second");
    first.commit();
  }
  EXPECT_EQ(folder.read("model"), "first");
  EXPECT_EQ(folder.read("model.part"), "somebody's");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path(next)));
}

/// Why the output is refused, "" when it is not.
std::string refusal(const std::string& output) {
  try {
    const OutputLock lock(output);
    return "";
  } catch (const StopRun& stop) {
    return std::string(stop.message());
  }
}

TEST(OutputLock, RefusesASecondProgramAndNeverOneAfterAProgramThatWasKilled) {
  const ScratchFolder folder;
  const std::string name = folder.path("model");
  std::filesystem::create_symlink("model", folder.path("link"));
  {
    const OutputLock lock(name);
    for (const std::string& second : {name, folder.path("link")})
      EXPECT_EQ(refusal(second),
                "ERROR writing file " + second + ": another program is writing it");
  }
  EXPECT_FALSE(folder.has("model.lock"));
  folder.write("model.lock", "");  // as a killed program leaves it
  EXPECT_EQ(refusal(name), "");
  folder.write("model.lock", "somebody's");
  EXPECT_EQ(refusal(name), "");
  EXPECT_EQ(folder.read("model.lock"), "somebody's");
  std::filesystem::remove(folder.path("model.lock"));
  std::filesystem::create_symlink("elsewhere", folder.path("model.lock"));
  EXPECT_EQ(refusal(name), "ERROR writing file " + name + ": " + name + ".lock is a link");
  EXPECT_FALSE(folder.has("elsewhere"));
}

TEST(AtomicFile, AFileThatBecomesTooLargeIsNamedAndRemovedAndTheOldOneStays) {
  const ScratchFolder folder;
  const std::string name = folder.write("model", "old");
  prepare_process();
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limited{.rlim_cur = 100'000, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limited);
  const std::string message = write_atomically(name, std::string(400'000, 'x'));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(message, "ERROR writing file " + name + ": File too large");
  EXPECT_EQ(folder.read("model"), "old");
  EXPECT_FALSE(folder.has_leftovers());
}

// A piece that is longer than the buffer, or that just fills it, in the wrong order or lost.
TEST(AtomicFile, PiecesOfAnyLengthKeepTheirOrder) {
  const ScratchFolder folder;
  AtomicFile file(folder.path("text"));
  std::string expected;
  char letter = 'a';
  for (const std::size_t size : {1U, 262143U, 1U, 262144U, 3U, 262145U, 5U, 700000U, 2U}) {
    expected.append(size, letter);
    file.append(std::string(size, letter++));
  }
  file.commit();
  EXPECT_TRUE(folder.read("text") == expected);
}

}  // namespace quorivex::test
